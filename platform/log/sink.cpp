#include "ara/log/sink.h"

namespace ara::log {

Sink::~Sink() = default;

}  // namespace ara::log
