#include "trace/trace_text.h"

#include <exception>

namespace ruv::com::log {

std::string to_trace_text(nlohmann::json const& record) {
    try {
        return record.dump();
    } catch (std::exception const& error) {
        // The one expected case is type_error 316, a traced string that is not valid UTF-8: the
        // line then tells the log reader what went wrong instead of vanishing.
        char const* const what = error.what();
        return what != nullptr ? std::string{what} : std::string{};
    }
}

}  // namespace ruv::com::log
