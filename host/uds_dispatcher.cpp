#include "host/uds_dispatcher.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "host/hex_bytes.h"
#include "host/request_meta_info.h"
#include "host/uds_protocol.h"

namespace zevo::host {
namespace {

using ruv::dm::foundation::extension::Extension_data_identifier;
using ruv::dm::foundation::extension::Extension_routine_control;
using ruv::dm::foundation::extension::Meta_info;
using Code = Negative_response_code;

std::uint16_t identifier_at(const std::vector<std::uint8_t>& request, std::size_t position) {
    return static_cast<std::uint16_t>(request[position] << 8 | request[position + 1]);
}

void append_identifier(std::vector<std::uint8_t>& bytes, std::uint16_t identifier) {
    bytes.push_back(static_cast<std::uint8_t>(identifier >> 8));
    bytes.push_back(static_cast<std::uint8_t>(identifier & 0xFF));
}

constexpr std::uint8_t positive_sid(Service_id sid) {
    return static_cast<std::uint8_t>(to_byte(sid) | positive_response_offset);
}

}  // namespace

void Uds_dispatcher::add_data_identifier(std::uint16_t did, Extension_data_identifier& extension) {
    if (!data_identifiers_.emplace(did, &extension).second) {
        throw std::invalid_argument("data identifier 0x" + format_hex_value(did, 4) + " is served twice");
    }
}

void Uds_dispatcher::add_routine(std::uint16_t rid, Extension_routine_control& extension) {
    if (!routines_.emplace(rid, &extension).second) {
        throw std::invalid_argument("routine identifier 0x" + format_hex_value(rid, 4) + " is served twice");
    }
}

Uds_response Uds_dispatcher::dispatch(const std::vector<std::uint8_t>& request) const {
    if (request.empty()) return negative_response(0x00, Code::incorrect_message_length_or_invalid_format);
    switch (request[0]) {
        case to_byte(Service_id::read_data_by_identifier): return read_data_by_identifier(request);
        case to_byte(Service_id::write_data_by_identifier): return write_data_by_identifier(request);
        case to_byte(Service_id::routine_control): return routine_control(request);
        default: return negative_response(request[0], Code::service_not_supported);  // ISO 14229-1 7.5: SID check first
    }
}

bool Uds_dispatcher::has_found_service(std::uint16_t identifier) const {
    const auto did = data_identifiers_.find(identifier);
    const auto rid = routines_.find(identifier);
    if (did == data_identifiers_.end() && rid == routines_.end()) {
        throw std::invalid_argument("identifier 0x" + format_hex_value(identifier, 4) + " is not served");
    }
    if (did != data_identifiers_.end()) {
        const Meta_info meta_info = make_request_meta_info(to_byte(Service_id::read_data_by_identifier), std::nullopt,
                                                           identifier, tester_address_);
        if (did->second->cancel(meta_info) != 1) return false;
    }
    if (rid != routines_.end()) {
        constexpr std::uint8_t start = to_byte(Routine_control_type::start_routine);
        const Meta_info meta_info =
            make_request_meta_info(to_byte(Service_id::routine_control), start, identifier, tester_address_);
        std::vector<std::uint8_t> no_options;
        std::vector<std::uint8_t> status_record;
        if (rid->second->start(no_options, meta_info, status_record) == to_byte(Code::general_reject)) return false;
    }
    return true;
}

Uds_dispatcher::Job_outcome Uds_dispatcher::run_job(const Extension_job& job, const Job_cancel& cancel) const {
    // The tester must get an answer whatever the plug-in does; an escaped exception (the
    // plug-in lets only allocation failures out) is answered like any failed job.
    try {
        const Job_runner::Outcome outcome = jobs_.run(job, cancel);
        return {outcome.code, {}, outcome.cancelled};
    } catch (const std::exception& error) {
        return {to_byte(Code::general_reject), error.what(), false};
    } catch (...) {
        return {to_byte(Code::general_reject), "a job threw an exception of unknown type", false};
    }
}

Uds_response Uds_dispatcher::failed(std::uint8_t sid, const Job_outcome& outcome) {
    return Uds_response{{negative_response_sid, sid, outcome.code}, false, outcome.error, outcome.cancelled};
}

// ISO 14229-1 10.2 (ReadDataByIdentifier): length, then whether any DID is supported; the
// unsupported DIDs of a list are skipped, and 0x31 comes only when none is supported.
Uds_response Uds_dispatcher::read_data_by_identifier(const std::vector<std::uint8_t>& request) const {
    constexpr std::uint8_t sid = to_byte(Service_id::read_data_by_identifier);
    if (request.size() < 3 || (request.size() - 1) % 2 != 0) {
        return negative_response(sid, Code::incorrect_message_length_or_invalid_format);
    }
    std::vector<std::pair<std::uint16_t, Extension_data_identifier*>> served;
    for (std::size_t position = 1; position < request.size(); position += 2) {
        const std::uint16_t did = identifier_at(request, position);
        if (auto found = data_identifiers_.find(did); found != data_identifiers_.end()) {
            served.emplace_back(did, found->second);
        }
    }
    if (served.empty()) return negative_response(sid, Code::request_out_of_range);

    Uds_response response{{positive_sid(Service_id::read_data_by_identifier)}, false, {}, false};
    for (const auto& [did, extension] : served) {
        const Meta_info meta_info = make_request_meta_info(sid, std::nullopt, did, tester_address_);
        std::vector<std::uint8_t> record;
        const Job_outcome outcome = run_job([&, extension = extension] { return extension->read(meta_info, record); },
                                            [&, extension = extension] { extension->cancel(meta_info); });
        if (outcome.code != 0) return failed(sid, outcome);  // one failed DID fails the whole request
        response.cancelled = response.cancelled || outcome.cancelled;
        append_identifier(response.bytes, did);
        response.bytes.insert(response.bytes.end(), record.begin(), record.end());
    }
    return response;
}

// ISO 14229-1 10.7 (WriteDataByIdentifier): at least SID, DID and one data byte, then the DID.
// The exact record length is the extension's to check: the host does not know it.
Uds_response Uds_dispatcher::write_data_by_identifier(const std::vector<std::uint8_t>& request) const {
    constexpr std::uint8_t sid = to_byte(Service_id::write_data_by_identifier);
    if (request.size() < 4) return negative_response(sid, Code::incorrect_message_length_or_invalid_format);
    const std::uint16_t did = identifier_at(request, 1);
    const auto found = data_identifiers_.find(did);
    if (found == data_identifiers_.end()) return negative_response(sid, Code::request_out_of_range);

    Extension_data_identifier* extension = found->second;
    const Meta_info meta_info = make_request_meta_info(sid, std::nullopt, did, tester_address_);
    std::vector<std::uint8_t> data(request.begin() + 3, request.end());
    const Job_outcome outcome =
        run_job([&] { return extension->write(meta_info, data); }, [&] { extension->cancel(meta_info); });
    if (outcome.code != 0) return failed(sid, outcome);

    Uds_response response{{positive_sid(Service_id::write_data_by_identifier)}, false, {}, outcome.cancelled};
    append_identifier(response.bytes, did);
    return response;
}

// ISO 14229-1 7.5 and 13.2 (RoutineControl): with SID and sub-function present the sub-function
// is checked before the full length, then the RID. The suppress bit hides only a positive answer.
Uds_response Uds_dispatcher::routine_control(const std::vector<std::uint8_t>& request) const {
    constexpr std::uint8_t sid = to_byte(Service_id::routine_control);
    if (request.size() < 2) return negative_response(sid, Code::incorrect_message_length_or_invalid_format);
    const std::uint8_t sub_function = request[1];
    const auto type = static_cast<std::uint8_t>(sub_function & ~suppress_positive_response_bit);
    const bool suppress_positive = (sub_function & suppress_positive_response_bit) != 0;
    if (type != to_byte(Routine_control_type::start_routine) && type != to_byte(Routine_control_type::stop_routine) &&
        type != to_byte(Routine_control_type::request_routine_results)) {
        return negative_response(sid, Code::sub_function_not_supported);
    }
    if (request.size() < 4) return negative_response(sid, Code::incorrect_message_length_or_invalid_format);
    const std::uint16_t rid = identifier_at(request, 2);
    const auto found = routines_.find(rid);
    if (found == routines_.end()) return negative_response(sid, Code::request_out_of_range);

    Extension_routine_control* extension = found->second;
    const Meta_info meta_info = make_request_meta_info(sid, sub_function, rid, tester_address_);
    std::vector<std::uint8_t> options(request.begin() + 4, request.end());
    std::vector<std::uint8_t> status_record;
    const Job_outcome outcome = run_job([&]() -> ruv::dm::types::UDSResponseCodeType {
        switch (static_cast<Routine_control_type>(type)) {
            case Routine_control_type::start_routine: return extension->start(options, meta_info, status_record);
            case Routine_control_type::stop_routine: return extension->stop(options, meta_info, status_record);
            case Routine_control_type::request_routine_results:
                return extension->request_results(options, meta_info, status_record);
        }
        return to_byte(Code::general_reject);  // unreachable: the type was checked above
    }, [&] { extension->cancel(meta_info); });
    if (outcome.code != 0) return failed(sid, outcome);  // negative answers are sent despite the bit
    if (suppress_positive) return suppressed_response();

    // What the job appended is the routineStatusRecord (or, for results, routineStatusRecord with
    // the results); a stopRoutine answer may carry one too.
    Uds_response response{{positive_sid(Service_id::routine_control), type}, false, {}, outcome.cancelled};
    append_identifier(response.bytes, rid);
    response.bytes.insert(response.bytes.end(), status_record.begin(), status_record.end());
    return response;
}

}  // namespace zevo::host
