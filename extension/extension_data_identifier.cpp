#include "extension/extension_data_identifier.h"

// The defaults are positive answers that touch nothing; a host gets them from write of every served data identifier.

namespace ruv::dm::foundation::extension {

Extension_data_identifier::~Extension_data_identifier() = default;

types::UDSResponseCodeType Extension_data_identifier::read(const Meta_info&, std::vector<std::uint8_t>&) {
    return 0;
}

types::UDSResponseCodeType Extension_data_identifier::write(const Meta_info&, std::vector<std::uint8_t>&) {
    return 0;
}

types::UDSResponseCodeType Extension_data_identifier::cancel(const Meta_info&) { return 0; }

}  // namespace ruv::dm::foundation::extension
