#pragma once
// Maps UDS requests (ISO 14229-1) onto any extension objects, owned elsewhere: 22 -> read, 2E ->
// write, 31 01/02/03 -> start/stop/request_results, results -> response bytes. Register first, then
// dispatch from one thread at a time; each job runs on a worker thread while that thread waits.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"
#include "host/job_worker.h"
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

    /// The answer to one request; blocks while the jobs it needs run. A job that throws is
    /// answered with generalReject and its text kept in Uds_response::job_error. An empty
    /// request, which has no SID to echo, gets 7F 00 13.
    Uds_response dispatch(const std::vector<std::uint8_t>& request) const;

private:
    struct Job_outcome {
        ruv::dm::types::UDSResponseCodeType code;
        std::string error;  // what a throwing job said; empty otherwise
    };

    static Job_outcome run_job(const Extension_job& job);
    static Uds_response failed(std::uint8_t sid, const Job_outcome& outcome);

    Uds_response read_data_by_identifier(const std::vector<std::uint8_t>& request) const;
    Uds_response write_data_by_identifier(const std::vector<std::uint8_t>& request) const;
    Uds_response routine_control(const std::vector<std::uint8_t>& request) const;

    std::uint16_t tester_address_;
    // Both maps are filled before the first dispatch and only read afterwards. Not owned.
    std::map<std::uint16_t, ruv::dm::foundation::extension::Extension_data_identifier*> data_identifiers_;
    std::map<std::uint16_t, ruv::dm::foundation::extension::Extension_routine_control*> routines_;
};

}  // namespace zevo::host
