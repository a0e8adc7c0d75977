#include "host/request_meta_info.h"

#include "host/hex_bytes.h"

namespace zevo::host {

ruv::dm::foundation::extension::Meta_info make_request_meta_info(std::uint8_t service_id,
                                                                 std::optional<std::uint8_t> sub_function,
                                                                 std::uint16_t identifier,
                                                                 std::uint16_t tester_address) {
    ruv::dm::foundation::extension::Meta_info meta_info{
        {meta_key::service_id, "0x" + format_hex_value(service_id, 2)},
        {meta_key::identifier, "0x" + format_hex_value(identifier, 4)},
        {meta_key::tester_address, "0x" + format_hex_value(tester_address, 4)},
    };
    if (sub_function) meta_info.emplace(meta_key::sub_function, "0x" + format_hex_value(*sub_function, 2));
    return meta_info;
}

}  // namespace zevo::host
