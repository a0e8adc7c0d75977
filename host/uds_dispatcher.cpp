#include "host/uds_dispatcher.h"

#include <algorithm>
#include <atomic>
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
    Prepared_request prepared = prepare(request, tester_address_);
    if (prepared.answer) return std::move(*prepared.answer);
    Job_runner::Outcome outcome;
    try {
        outcome = jobs_.run(prepared.keys, prepared.job, prepared.cancel);
    } catch (const std::exception& error) {
        // Refused (interrupted runner) or no worker: the tester must get an answer all the same.
        Uds_response refused = negative_response(request[0], Code::general_reject);
        refused.job_error = error.what();
        return refused;
    }
    Uds_response response = std::move(*prepared.result);
    response.cancelled = outcome.cancelled;
    const bool positive = !response.bytes.empty() && response.bytes[0] != negative_response_sid;
    if (prepared.suppress_positive && positive) {
        Uds_response suppressed = suppressed_response();
        suppressed.cancelled = outcome.cancelled;
        return suppressed;
    }
    return response;
}

Prepared_request Uds_dispatcher::prepare(const std::vector<std::uint8_t>& request, std::uint16_t tester) const {
    Prepared_request refused;
    if (request.empty()) {
        refused.answer = negative_response(0x00, Code::incorrect_message_length_or_invalid_format);
        return refused;
    }
    switch (request[0]) {
        case to_byte(Service_id::read_data_by_identifier): return read_data_by_identifier(request, tester);
        case to_byte(Service_id::write_data_by_identifier): return write_data_by_identifier(request, tester);
        case to_byte(Service_id::routine_control): return routine_control(request, tester);
        default: break;
    }
    refused.answer = negative_response(request[0], Code::service_not_supported);  // ISO 14229-1 7.5: SID check first
    return refused;
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

namespace {

Prepared_request refusal(std::uint8_t sid, Negative_response_code code) {
    Prepared_request refused;
    refused.answer = negative_response(sid, code);
    return refused;
}

/// Calls one extension operation; an exception becomes generalReject with its text kept.
template <class Call>
ruv::dm::types::UDSResponseCodeType guarded(Call call, std::string& job_error) {
    // The tester must get an answer whatever the plug-in does; an escaped exception (the
    // plug-in lets only allocation failures out) is answered like any failed job.
    try {
        return call();
    } catch (const std::exception& error) {
        job_error = error.what();
    } catch (...) {
        job_error = "a job threw an exception of unknown type";
    }
    return to_byte(Code::general_reject);
}

Uds_response failed(std::uint8_t sid, ruv::dm::types::UDSResponseCodeType code, std::string job_error) {
    return Uds_response{{negative_response_sid, sid, code}, false, std::move(job_error), false};
}

}  // namespace

// ISO 14229-1 10.2 (ReadDataByIdentifier): length, then whether any DID is supported; the
// unsupported DIDs of a list are skipped, and 0x31 comes only when none is supported.
Prepared_request Uds_dispatcher::read_data_by_identifier(const std::vector<std::uint8_t>& request,
                                                         std::uint16_t tester) const {
    constexpr std::uint8_t sid = to_byte(Service_id::read_data_by_identifier);
    if (request.size() < 3 || (request.size() - 1) % 2 != 0) {
        return refusal(sid, Code::incorrect_message_length_or_invalid_format);
    }
    struct Read {
        std::uint16_t did;
        Extension_data_identifier* extension;
        Meta_info meta_info;
    };
    auto reads = std::make_shared<std::vector<Read>>();
    Prepared_request prepared;
    for (std::size_t position = 1; position < request.size(); position += 2) {
        const std::uint16_t did = identifier_at(request, position);
        if (auto found = data_identifiers_.find(did); found != data_identifiers_.end()) {
            reads->push_back({did, found->second, make_request_meta_info(sid, std::nullopt, did, tester)});
            const Job_key key = job_key(did, false);
            if (std::find(prepared.keys.begin(), prepared.keys.end(), key) == prepared.keys.end()) {
                prepared.keys.push_back(key);
            }
        }
    }
    if (reads->empty()) return refusal(sid, Code::request_out_of_range);

    // The DID being read and whether the host cancelled: a cancelled read ends the request.
    struct Progress {
        std::atomic<std::size_t> current{0};
        std::atomic<bool> cancelled{false};
    };
    auto progress = std::make_shared<Progress>();
    prepared.result = std::make_shared<Uds_response>();
    prepared.job = [reads, progress, result = prepared.result]() -> ruv::dm::types::UDSResponseCodeType {
        Uds_response response{{positive_sid(Service_id::read_data_by_identifier)}, false, {}, false};
        for (std::size_t index = 0; index < reads->size(); ++index) {
            if (progress->cancelled) break;
            progress->current = index;
            Read& read = (*reads)[index];
            std::vector<std::uint8_t> record;
            std::string job_error;
            const auto code = guarded([&] { return read.extension->read(read.meta_info, record); }, job_error);
            if (code != 0) {  // one failed DID fails the whole request
                *result = failed(sid, code, std::move(job_error));
                return code;
            }
            append_identifier(response.bytes, read.did);
            response.bytes.insert(response.bytes.end(), record.begin(), record.end());
        }
        *result = std::move(response);
        return 0;
    };
    prepared.cancel = [reads, progress] {
        progress->cancelled = true;
        const Read& read = (*reads)[progress->current];
        read.extension->cancel(read.meta_info);
    };
    return prepared;
}

// ISO 14229-1 10.7 (WriteDataByIdentifier): at least SID, DID and one data byte, then the DID.
// The exact record length is the extension's to check: the host does not know it.
Prepared_request Uds_dispatcher::write_data_by_identifier(const std::vector<std::uint8_t>& request,
                                                          std::uint16_t tester) const {
    constexpr std::uint8_t sid = to_byte(Service_id::write_data_by_identifier);
    if (request.size() < 4) return refusal(sid, Code::incorrect_message_length_or_invalid_format);
    const std::uint16_t did = identifier_at(request, 1);
    const auto found = data_identifiers_.find(did);
    if (found == data_identifiers_.end()) return refusal(sid, Code::request_out_of_range);

    Extension_data_identifier* extension = found->second;
    auto meta_info = std::make_shared<const Meta_info>(make_request_meta_info(sid, std::nullopt, did, tester));
    Prepared_request prepared;
    prepared.keys = {job_key(did, false)};
    prepared.result = std::make_shared<Uds_response>();
    prepared.job = [extension, meta_info, did, result = prepared.result,
                    data = std::vector<std::uint8_t>(request.begin() + 3, request.end())]() mutable {
        std::string job_error;
        const auto code = guarded([&] { return extension->write(*meta_info, data); }, job_error);
        if (code != 0) {
            *result = failed(sid, code, std::move(job_error));
        } else {
            *result = Uds_response{{positive_sid(Service_id::write_data_by_identifier)}, false, {}, false};
            append_identifier(result->bytes, did);
        }
        return code;
    };
    prepared.cancel = [extension, meta_info] { extension->cancel(*meta_info); };
    return prepared;
}

// ISO 14229-1 7.5 and 13.2 (RoutineControl): with SID and sub-function present the sub-function
// is checked before the full length, then the RID. The suppress bit hides only a positive answer.
Prepared_request Uds_dispatcher::routine_control(const std::vector<std::uint8_t>& request,
                                                 std::uint16_t tester) const {
    constexpr std::uint8_t sid = to_byte(Service_id::routine_control);
    if (request.size() < 2) return refusal(sid, Code::incorrect_message_length_or_invalid_format);
    const std::uint8_t sub_function = request[1];
    const auto type = static_cast<std::uint8_t>(sub_function & ~suppress_positive_response_bit);
    if (type != to_byte(Routine_control_type::start_routine) && type != to_byte(Routine_control_type::stop_routine) &&
        type != to_byte(Routine_control_type::request_routine_results)) {
        return refusal(sid, Code::sub_function_not_supported);
    }
    if (request.size() < 4) return refusal(sid, Code::incorrect_message_length_or_invalid_format);
    const std::uint16_t rid = identifier_at(request, 2);
    const auto found = routines_.find(rid);
    if (found == routines_.end()) return refusal(sid, Code::request_out_of_range);

    Extension_routine_control* extension = found->second;
    auto meta_info = std::make_shared<const Meta_info>(make_request_meta_info(sid, sub_function, rid, tester));
    Prepared_request prepared;
    prepared.keys = {job_key(rid, true)};
    prepared.suppress_positive = (sub_function & suppress_positive_response_bit) != 0;
    prepared.result = std::make_shared<Uds_response>();
    prepared.job = [extension, meta_info, rid, type, result = prepared.result,
                    options = std::vector<std::uint8_t>(request.begin() + 4, request.end())]() mutable {
        std::vector<std::uint8_t> status_record;
        std::string job_error;
        const auto code = guarded([&]() -> ruv::dm::types::UDSResponseCodeType {
            switch (static_cast<Routine_control_type>(type)) {
                case Routine_control_type::start_routine: return extension->start(options, *meta_info, status_record);
                case Routine_control_type::stop_routine: return extension->stop(options, *meta_info, status_record);
                case Routine_control_type::request_routine_results:
                    return extension->request_results(options, *meta_info, status_record);
            }
            return to_byte(Code::general_reject);  // unreachable: the type was checked above
        }, job_error);
        if (code != 0) {
            *result = failed(sid, code, std::move(job_error));
            return code;
        }
        // What the job appended is the routineStatusRecord (or, for results, routineStatusRecord
        // with the results); a stopRoutine answer may carry one too.
        *result = Uds_response{{positive_sid(Service_id::routine_control), type}, false, {}, false};
        append_identifier(result->bytes, rid);
        result->bytes.insert(result->bytes.end(), status_record.begin(), status_record.end());
        return code;
    };
    prepared.cancel = [extension, meta_info] { extension->cancel(*meta_info); };
    return prepared;
}

}  // namespace zevo::host
