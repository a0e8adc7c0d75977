#pragma once
// Renders a trace record as the one compact line that goes to the log, on the event's thread.
// Text that is not valid UTF-8 turns the line into the JSON library's message; std::bad_alloc and
// exceptions that are no std::exception pass on.

#include <string>

#include <nlohmann/json.hpp>

namespace ruv::com::log {

/// The record as dump() renders it with its defaults: no spaces, no indentation, non-ASCII text
/// as it is, strict about bad UTF-8. On a std::exception the line is that exception's what(), or
/// empty if what() is a null pointer.
std::string to_trace_text(nlohmann::json const& record);

}  // namespace ruv::com::log
