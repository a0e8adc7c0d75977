#include "sim/service_table.h"

#include <algorithm>
#include <cstdio>

#include "sim/service_state.h"

namespace zevo::sim {
namespace {

template <class Interface>
Answer serve(Service_state& state, Method method, const std::vector<std::uint8_t>& request) {
    return state.serve<Interface>(method, request);
}

template <class Interface>
Service_entry entry(std::uint16_t identifier) {
    return Service_entry{identifier, Interface::name, is_routine<Interface>::value, &serve<Interface>};
}

}  // namespace

const std::vector<Service_entry>& service_table() {
    static const std::vector<Service_entry> table = {
        entry<diag::d_2c55::DataIdentifier_ZevoZevovin>(0x2C55),
        entry<diag::d_2c56::DataIdentifier_ZevoTrainingCounter>(0x2C56),
        entry<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory>(0x2C57),
        entry<diag::d_2c60::DataIdentifier_ZevoKeyList>(0x2C60),
        entry<diag::r_0648::RoutineService_ZevoDebug>(0x0648),
        entry<diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer>(0xC00A),
        entry<diag::r_c00b::RoutineService_ZevoCheckVerificationHash>(0xC00B),
        entry<diag::r_c00c::RoutineService_ZevoGetIdentityHash>(0xC00C),
        entry<diag::r_c00d::RoutineService_ZevoGetPssHash>(0xC00D),
        entry<diag::r_c00f::RoutineService_ZevoGetState>(0xC00F),
    };
    return table;
}

const Service_entry* find_service(std::uint16_t identifier) {
    const auto& table = service_table();
    const auto found = std::find_if(table.begin(), table.end(),
                                    [identifier](const Service_entry& entry) { return entry.identifier == identifier; });
    return found != table.end() ? &*found : nullptr;
}

bool method_of(std::uint16_t method_id, bool routine, Method& method) {
    switch (method_id) {
        case static_cast<std::uint16_t>(Method::cancel): method = Method::cancel; return true;
        case static_cast<std::uint16_t>(Method::read_or_results): method = Method::read_or_results; return true;
        case static_cast<std::uint16_t>(Method::start): method = Method::start; return routine;
        default: return false;
    }
}

const char* method_name(Method method, bool routine) {
    switch (method) {
        case Method::cancel: return "cancel";
        case Method::read_or_results: return routine ? "request_results" : "read";
        case Method::start: return "start";
    }
    return "?";
}

std::string hex_identifier(std::uint16_t identifier) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(identifier));
    return text;
}

}  // namespace zevo::sim
