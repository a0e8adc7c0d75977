#pragma once
// The text by which a failed call's exception appears in its trace: "Exception: " and what().
// Called on a runtime thread by the response path. Throws std::bad_alloc, std::invalid_argument
// for a null exception_ptr, and rethrows an exception that is no std::exception.

#include <exception>
#include <string>

namespace ruv::com::log {

/// "Exception: " followed by the what() of the exception held by `error`, or by
/// "what() returned null ptr" when what() yields a null pointer.
std::string exception_text(std::exception_ptr const& error);

}  // namespace ruv::com::log
