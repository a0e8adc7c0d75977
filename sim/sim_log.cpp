#include "sim/sim_log.h"

#include <cstdio>

#include "ara/log/contexts.h"
#include "sim/service_table.h"

namespace zevo::sim {
namespace {

using ara::log::LogLevel;

std::string hex_bytes(const std::vector<std::uint8_t>& bytes) {
    std::string text;
    for (std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%s%02X", text.empty() ? "" : " ", byte);
        text += digits;
    }
    return text.empty() ? "(no bytes)" : text;
}

template <typename Make_text>
void log_info(Make_text&& make_text) noexcept {
    try {
        ara::log::contexts::log_text(ara::log::contexts::logger_of(ara::log::contexts::simulator),
                                     LogLevel::kInfo, make_text);
    } catch (...) {
        // Out of memory: the line is lost, the simulator goes on.
    }
}

}  // namespace

std::string describe_fault(const Fault& fault) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (fault.delay.count() > 0) add("delay " + std::to_string(fault.delay.count()) + " ms");
    if (fault.application_error) add("application error " + hex_bytes(*fault.application_error));
    if (fault.return_code) {
        char code[8];
        std::snprintf(code, sizeof code, "0x%02X", *fault.return_code);
        add(std::string("return code ") + code);
    }
    if (fault.short_payload) add("short payload");
    if (fault.malformed_payload) add("malformed payload");
    if (fault.no_answer) add("no answer");
    if (fault.drop) add("call dropped");
    if (fault.hold_until_cancel) add("held until a Cancel");
    if (fault.withdraw_for) add("service withdrawn for " + std::to_string(fault.withdraw_for->count()) + " ms");
    return text.empty() ? "no change" : text;
}

void log_all_offered(const std::string& instance) noexcept {
    log_info([&] { return "offered all " + std::to_string(service_table().size()) + " services, instance \"" + instance + "\""; });
}

void log_offer_change(std::uint16_t identifier, bool offered, const std::string& why) noexcept {
    log_info([&] {
        const Service_entry* service = find_service(identifier);
        return std::string(offered ? "offered " : "withdrew ") + hex_identifier(identifier) + " " +
               (service != nullptr ? service->interface_name : "") + (why.empty() ? "" : " (" + why + ")");
    });
}

void log_fault_added(const Fault& fault) noexcept {
    log_info([&] {
        const Service_entry* service = find_service(fault.identifier);
        return "fault added for " + hex_identifier(fault.identifier) + " " +
               method_name(fault.method, service != nullptr && service->routine) + ": " + describe_fault(fault);
    });
}

void log_fault_taken(std::uint16_t identifier, Method method, bool routine, const Fault& fault) noexcept {
    log_info([&] {
        return "fault on " + hex_identifier(identifier) + " " + method_name(method, routine) + ": " + describe_fault(fault);
    });
}

}  // namespace zevo::sim
