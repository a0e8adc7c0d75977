#include "com/runtime/runtime_log.h"

#include <exception>
#include <string>

#include "ara/com/logger.h"

namespace ruv::com::runtime::detail {

namespace {

constexpr unsigned char error_level = 2;

std::string describe_current_exception(const char* where) {
    std::string text{where};
    try {
        throw;
    } catch (const std::exception& error) {
        text += " threw: ";
        const char* const what = error.what();
        text += what != nullptr ? what : "what() returned null ptr";
    } catch (...) {
        text += " threw a non-standard exception";
    }
    return text;
}

}  // namespace

void log_current_exception(const char* where) noexcept {
    try {
        log::Log_backend& backend = ara::com::logger().get_backend();
        if (backend.is_log_enabled(error_level)) {
            backend.log(describe_current_exception(where), error_level);
        }
    } catch (...) {  // the line is lost; the runtime carries on
    }
}

}  // namespace ruv::com::runtime::detail
