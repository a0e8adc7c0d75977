#include "trace/exception_text.h"

#include <stdexcept>

namespace ruv::com::log {

std::string exception_text(std::exception_ptr const& error) {
    if (!error) {
        throw std::invalid_argument("exception_text: no exception");
    }
    try {
        std::rethrow_exception(error);
    } catch (std::exception const& exception) {
        char const* const what = exception.what();
        return std::string{"Exception: "} + (what != nullptr ? what : "what() returned null ptr");
    }
    // Anything else has left through the rethrow.
}

}  // namespace ruv::com::log
