#include "extension/extension.h"

namespace ruv::dm::foundation::extension {

Extension::~Extension() = default;

}  // namespace ruv::dm::foundation::extension
