#pragma once
// Maps UDS requests (ISO 14229-1) onto any extension objects, owned elsewhere: 22 -> read, 2E ->
// write, 31 01/02/03 -> start/stop/request_results, results -> response bytes. Register first, then
// dispatch from one thread at a time; each job runs on a worker thread while that thread waits,
// and any other thread may cancel it through job_runner().

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"
#include "host/job_runner.h"
#include "host/uds_response.h"

namespace zevo::host {

class Uds_dispatcher {
public:
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
    struct Job_outcome {
        ruv::dm::types::UDSResponseCodeType code;
        std::string error;  // what a throwing job said; empty otherwise
        bool cancelled;
    };

    Job_outcome run_job(const Extension_job& job, const Job_cancel& cancel) const;
    static Uds_response failed(std::uint8_t sid, const Job_outcome& outcome);

    Uds_response read_data_by_identifier(const std::vector<std::uint8_t>& request) const;
    Uds_response write_data_by_identifier(const std::vector<std::uint8_t>& request) const;
    Uds_response routine_control(const std::vector<std::uint8_t>& request) const;

    std::uint16_t tester_address_;
    mutable Job_runner jobs_;  // internally synchronised; running jobs do not change what dispatch answers
    // Both maps are filled before the first dispatch and only read afterwards. Not owned.
    std::map<std::uint16_t, ruv::dm::foundation::extension::Extension_data_identifier*> data_identifiers_;
    std::map<std::uint16_t, ruv::dm::foundation::extension::Extension_routine_control*> routines_;
};

}  // namespace zevo::host
