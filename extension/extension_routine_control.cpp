#include "extension/extension_routine_control.h"

// The defaults are positive answers that touch nothing; a host gets them from stop of every served routine.

namespace ruv::dm::foundation::extension {

Extension_routine_control::~Extension_routine_control() = default;

types::UDSResponseCodeType Extension_routine_control::start(std::vector<std::uint8_t>&, const Meta_info&,
                                                            std::vector<std::uint8_t>&) {
    return 0;
}

types::UDSResponseCodeType Extension_routine_control::stop(std::vector<std::uint8_t>&, const Meta_info&,
                                                           std::vector<std::uint8_t>&) {
    return 0;
}

types::UDSResponseCodeType Extension_routine_control::request_results(std::vector<std::uint8_t>&,
                                                                      const Meta_info&,
                                                                      std::vector<std::uint8_t>&) {
    return 0;
}

types::UDSResponseCodeType Extension_routine_control::cancel(const Meta_info&) { return 0; }

}  // namespace ruv::dm::foundation::extension
