#pragma once
// The scripted session as data: which requests it sends and which answer each one expects.
// The answers of served identifiers come from a pluggable expectation, so a bench with simulated
// services can expect their real answers. Built on the main thread before the session runs.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/uds_response.h"

namespace zevo::host {

struct Session_step {
    std::string title;                  ///< what the step does, e.g. "read 0x2C56"
    std::vector<std::uint8_t> request;  ///< the bytes sent
    Uds_response expected;              ///< the answer that makes the step pass
};

/// The expected answer to a request that reaches a served identifier's extension.
using Served_expectation = std::function<Uds_response(const std::vector<std::uint8_t>& request)>;

/// Without the remote services every job answers generalReject: 7F SID 10.
Uds_response expect_general_reject(const std::vector<std::uint8_t>& request);

/// The routineControlOptionRecord the session sends with startRoutine: a request of the length
/// each routine decodes. One byte for a routine it does not know.
std::vector<std::uint8_t> session_start_options(std::uint16_t rid);

/// A data identifier the host does not serve: the first of 0x2C58, 0x2C59, ... absent from `dids`.
std::uint16_t unserved_data_identifier(const std::vector<std::uint16_t>& dids);

/// The session, in this order: 22 DID for each of `dids`; for each of `rids` 31 01 RID with
/// session_start_options(RID) and 31 03 RID; 22 with an unserved DID (expects 7F 22 31); 22 with
/// a single DID byte (expects 7F 22 13). Steps that reach an extension expect `served(request)`.
std::vector<Session_step> make_session_script(const std::vector<std::uint16_t>& dids,
                                              const std::vector<std::uint16_t>& rids,
                                              const Served_expectation& served = expect_general_reject);

}  // namespace zevo::host
