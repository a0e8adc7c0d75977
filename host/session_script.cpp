#include "host/session_script.h"

#include <algorithm>
#include <map>

#include "host/hex_bytes.h"
#include "host/uds_protocol.h"

namespace zevo::host {
namespace {

std::vector<std::uint8_t> with_identifier(std::vector<std::uint8_t> bytes, std::uint16_t identifier) {
    bytes.push_back(static_cast<std::uint8_t>(identifier >> 8));
    bytes.push_back(static_cast<std::uint8_t>(identifier & 0xFF));
    return bytes;
}

std::string hex_identifier(std::uint16_t identifier) { return "0x" + format_hex_value(identifier, 4); }

}  // namespace

Uds_response expect_general_reject(const std::vector<std::uint8_t>& request) {
    return negative_response(request.at(0), Negative_response_code::general_reject);
}

std::vector<std::uint8_t> session_start_options(std::uint16_t rid) {
    // Start requests of the lengths the served routines decode: one byte and then any number of
    // bytes (0x0648, 0xC00A), one byte and then 16 (0xC00B, 0xC00C), or one byte (0xC00D, 0xC00F).
    static const std::vector<std::uint8_t> one_and_sixteen = {0x01, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                                              0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    static const std::map<std::uint16_t, std::vector<std::uint8_t>> options = {
        {0x0648, {0x01, 0xDE, 0xAD}}, {0xC00A, {0x01, 0x10, 0x20}}, {0xC00B, one_and_sixteen},
        {0xC00C, one_and_sixteen},    {0xC00D, {0x01}},             {0xC00F, {0x00}},
    };
    const auto found = options.find(rid);
    return found != options.end() ? found->second : std::vector<std::uint8_t>{0x00};
}

std::uint16_t unserved_data_identifier(const std::vector<std::uint16_t>& dids) {
    std::uint16_t candidate = 0x2C58;
    while (std::find(dids.begin(), dids.end(), candidate) != dids.end()) ++candidate;
    return candidate;
}

std::vector<Session_step> make_session_script(const std::vector<std::uint16_t>& dids,
                                              const std::vector<std::uint16_t>& rids,
                                              const Served_expectation& served) {
    constexpr std::uint8_t read = to_byte(Service_id::read_data_by_identifier);
    constexpr std::uint8_t routine = to_byte(Service_id::routine_control);
    constexpr std::uint8_t start = to_byte(Routine_control_type::start_routine);
    constexpr std::uint8_t results = to_byte(Routine_control_type::request_routine_results);

    std::vector<Session_step> steps;
    const auto add_served = [&](std::string title, std::vector<std::uint8_t> request) {
        Uds_response expected = served(request);
        steps.push_back({std::move(title), std::move(request), std::move(expected)});
    };
    for (std::uint16_t did : dids) add_served("read " + hex_identifier(did), with_identifier({read}, did));
    for (std::uint16_t rid : rids) {
        std::vector<std::uint8_t> start_request = with_identifier({routine, start}, rid);
        const std::vector<std::uint8_t> options = session_start_options(rid);
        start_request.insert(start_request.end(), options.begin(), options.end());
        add_served("start routine " + hex_identifier(rid), std::move(start_request));
        add_served("results of routine " + hex_identifier(rid), with_identifier({routine, results}, rid));
    }
    const std::uint16_t unserved = unserved_data_identifier(dids);
    steps.push_back({"read of the unserved " + hex_identifier(unserved), with_identifier({read}, unserved),
                     negative_response(read, Negative_response_code::request_out_of_range)});
    steps.push_back({"read with a one-byte DID", {read, 0x2C},
                     negative_response(read, Negative_response_code::incorrect_message_length_or_invalid_format)});
    return steps;
}

}  // namespace zevo::host
