#pragma once
// The diagnostic description the UDS server serves by, as a diagnostic manager has one: per data
// identifier the sessions in which it may be read and written (and optionally the length of a
// written record), per routine the sessions and sub-functions it supports (and optionally the
// length of an option record per sub-function). Read once at start from JSON by a strict parser;
// the result is plain data, read-only afterwards and safe to share between threads.
// Format: host/uds_server/default_description.json, the default the host embeds, and the README.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

namespace zevo::host {

/// diagnosticSessionType values the server knows (ISO 14229-1 DiagnosticSessionControl).
namespace session {
constexpr std::uint8_t default_session = 0x01;
constexpr std::uint8_t extended_session = 0x03;
}  // namespace session

struct Data_identifier_rule {
    std::set<std::uint8_t> read_sessions;   ///< sessions in which 22 may read it
    std::set<std::uint8_t> write_sessions;  ///< sessions in which 2E may write it
    /// Exact length of the record 2E writes (the bytes after the DID); none: any length.
    std::optional<std::size_t> write_length;
};

struct Routine_rule {
    std::set<std::uint8_t> sessions;        ///< sessions in which 31 may control it
    std::set<std::uint8_t> sub_functions;   ///< routineControlType values 01, 02, 03 it supports
    /// Exact length of the option record (the bytes after the RID) per sub-function; a
    /// sub-function without an entry takes any length.
    std::map<std::uint8_t, std::size_t> option_length;
};

struct Diagnostic_description {
    std::map<std::uint16_t, Data_identifier_rule> data_identifiers;
    std::map<std::uint16_t, Routine_rule> routines;
};

/// A description that cannot be used. what(): "<JSON path>: <complaint>", e.g.
/// "$.routines[2].sessions[0]: expected \"default\" or \"extended\"", behind the file's path
/// when it came from a file.
class Description_error : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// Parses the JSON text of a description. Unknown keys, wrong types, bad values and an
/// identifier listed twice are errors naming their JSON path. Throws Description_error.
Diagnostic_description parse_description(const std::string& text);

/// Reads and parses the file at `path`. Throws Description_error, its text starting with the path.
Diagnostic_description load_description_file(const std::string& path);

/// The embedded default (host/uds_server/default_description.json): the four data identifiers
/// readable in every session and writable in none, the six routines supporting start and results
/// in every session, no length rules.
const char* default_description_text();
Diagnostic_description default_description();

}  // namespace zevo::host
