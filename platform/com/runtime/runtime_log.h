#pragma once
// Reports a failure inside the runtime (a task, handler or listener that threw) as one error
// line through ara::com::logger(). Called from a catch block on any runtime thread; throws
// nothing: a line that cannot be written is lost.

namespace ruv::com::runtime::detail {

/// Logs "<where> threw: <what()>", or "<where> threw a non-standard exception", for the
/// exception being handled. Call only inside a catch block.
void log_current_exception(const char* where) noexcept;

}  // namespace ruv::com::runtime::detail
