#pragma once
// Maps UDS requests (ISO 14229-1) onto any extension objects, owned elsewhere: 22 -> read, 2E ->
// write, 31 01/02/03 -> start/stop/request_results, results -> response bytes. Register first;
// then prepare (the UDS server, which runs the job itself) and dispatch (blocking) may be called
// from any thread. Each job runs on a worker thread, one per extension at a time, and any other
// thread may cancel it through job_runner().

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"
#include "host/job_runner.h"
#include "host/uds_response.h"

namespace zevo::host {

/// A request turned into the job that answers it, not yet run.
struct Prepared_request {
    /// Set when the request is answered without any extension call (a refusal).
    std::optional<Uds_response> answer;
    /// The extensions the job calls (see job_key).
    std::vector<Job_key> keys;
    /// Calls the extensions in turn and leaves the answer in `result`: the positive bytes even
    /// when `suppress_positive` is set, or 7F SID NRC. Never throws; a throwing extension call
    /// is answered with generalReject and its text in result->job_error.
    Extension_job job;
    /// Cancels the extension whose call runs now; later calls of the job are not made.
    Job_cancel cancel;
    std::shared_ptr<Uds_response> result;
    /// The request carried the suppress-positive-response bit.
    bool suppress_positive = false;
};

class Uds_dispatcher {
public:
    /// The key of the job runner for the extension serving `identifier` as a data identifier
    /// (`routine` false) or a routine.
    static Job_key job_key(std::uint16_t identifier, bool routine) {
        return (routine ? 0x20000U : 0x10000U) | identifier;
    }

    /// `tester_address` goes into every job's meta_info (see request_meta_info.h).
    explicit Uds_dispatcher(std::uint16_t tester_address) : tester_address_(tester_address) {}

    /// Serves `did` with `extension`, which must outlive the dispatcher.
    /// Throws std::invalid_argument when `did` is already served.
    void add_data_identifier(std::uint16_t did, ruv::dm::foundation::extension::Extension_data_identifier& extension);
    /// Serves `rid` with `extension`, which must outlive the dispatcher.
    /// Throws std::invalid_argument when `rid` is already served.
    void add_routine(std::uint16_t rid, ruv::dm::foundation::extension::Extension_routine_control& extension);

    /// The answer to one request; blocks while the jobs it needs run. A job that throws, or
    /// that is refused because the runner was interrupted, is answered with generalReject and
    /// its text kept in Uds_response::job_error. An empty request, which has no SID to echo,
    /// gets 7F 00 13.
    Uds_response dispatch(const std::vector<std::uint8_t>& request) const;

    /// The job for `request` with `tester_address` in its meta_info, or the refusal when the
    /// request cannot reach an extension (length, unknown sub-function, identifier not served;
    /// unserved DIDs of a read are skipped). Thread-safe after registration.
    Prepared_request prepare(const std::vector<std::uint8_t>& request, std::uint16_t tester_address) const;

    /// Whether an extension serves `identifier` as a data identifier or as a routine.
    bool serves_data_identifier(std::uint16_t did) const { return data_identifiers_.count(did) != 0; }
    bool serves_routine(std::uint16_t rid) const { return routines_.count(rid) != 0; }

    /// Where the jobs run: cancel_all and interrupt reach the job of a dispatch in progress
    /// from any thread. Internally synchronised.
    Job_runner& job_runner() const { return jobs_; }

    /// Whether the extensions serving `identifier` (as a data identifier, a routine or both)
    /// have found their remote service. The extensions do not tell, so each is probed with a
    /// call whose answer differs and which reaches no service job: a data identifier's cancel
    /// answers 1 only with a service (it sends the service a Cancel, waits for nothing, and the
    /// next job forgets it); a routine's start with no option bytes answers 0x10 without a
    /// service and otherwise fails to decode (0x13) before anything is sent. Runs the probes
    /// on the calling thread; not while a job of the same extension runs. Throws
    /// std::invalid_argument for an identifier nothing serves.
    bool has_found_service(std::uint16_t identifier) const;

private:
    Prepared_request read_data_by_identifier(const std::vector<std::uint8_t>& request, std::uint16_t tester) const;
    Prepared_request write_data_by_identifier(const std::vector<std::uint8_t>& request, std::uint16_t tester) const;
    Prepared_request routine_control(const std::vector<std::uint8_t>& request, std::uint16_t tester) const;

    std::uint16_t tester_address_;
    mutable Job_runner jobs_;  // internally synchronised; running jobs do not change what dispatch answers
    // Both maps are filled before the first dispatch and only read afterwards. Not owned.
    std::map<std::uint16_t, ruv::dm::foundation::extension::Extension_data_identifier*> data_identifiers_;
    std::map<std::uint16_t, ruv::dm::foundation::extension::Extension_routine_control*> routines_;
};

}  // namespace zevo::host
