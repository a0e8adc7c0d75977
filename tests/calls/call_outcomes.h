#pragma once
// Reading the outcome of a call in the call tests: the exception a future holds, checked by type
// and exact text, and the text of a method event as the trace must render it. Test thread only.

#include <cstdint>
#include <exception>
#include <future>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "call_support.h"
#include "proxy/future.h"
#include "ruv/com/infrastructure_exception.h"

namespace zevo::test::calls {

/// The exception `future` holds once it is ready; fails the test (and gives null) when it holds
/// a value or stays unready for wait_bound.
template <class R>
std::exception_ptr failure_of(kel::com::Future<R>& future) {
    if (future.wait_for(wait_bound) != std::future_status::ready) {
        ADD_FAILURE() << "the call was never completed";
        return nullptr;
    }
    try {
        future.get();
    } catch (...) {
        return std::current_exception();
    }
    ADD_FAILURE() << "the future holds a value";
    return nullptr;
}

/// The code of the Transport_exception in `error`, or -1 (and a failure) for anything else.
inline int transport_code(const std::exception_ptr& error) {
    if (!error) {
        return -1;
    }
    try {
        std::rethrow_exception(error);
    } catch (const ruv::com::Transport_exception& transport) {
        EXPECT_STREQ(transport.what(), "Transport exception");
        return transport.code();
    } catch (...) {
        ADD_FAILURE() << "not a Transport_exception";
    }
    return -1;
}

/// True when `error` is a Service_not_available_exception with its text.
inline bool is_service_not_available(const std::exception_ptr& error) {
    if (!error) {
        return false;
    }
    try {
        std::rethrow_exception(error);
    } catch (const ruv::com::Service_not_available_exception& unavailable) {
        EXPECT_STREQ(unavailable.what(), "Service not available exception");
        return true;
    } catch (...) {
    }
    return false;
}

/// A copy of the `Error` in `error`; empty (and a failure) for anything else.
template <class Error>
std::optional<Error> error_as(const std::exception_ptr& error) {
    if (error) {
        try {
            std::rethrow_exception(error);
        } catch (const Error& expected) {
            return expected;
        } catch (...) {
        }
    }
    ADD_FAILURE() << "not the expected error";
    return std::nullopt;
}

/// A response-side method event of instance "1" as rendered, up to and including the incident;
/// the caller appends "}" or the "2_data" part and "}".
inline std::string response_incident(const std::string& event, const std::string& service, unsigned method_id,
                                     unsigned error_code) {
    return R"({"1_incident":{"1_id":")" + event + R"(","2_service_id":{"1_id":"Service_id","string":")" + service +
           R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":)" + std::to_string(method_id) +
           R"(,"5_error_code":)" + std::to_string(error_code) + "}";
}

/// The same event with one text under "2_data".
inline std::string response_event(const std::string& event, const std::string& service, unsigned method_id,
                                   unsigned error_code, const std::string& text) {
    return response_incident(event, service, method_id, error_code) + R"(,"2_data":{"1_string":")" + text + R"("}})";
}

}  // namespace zevo::test::calls
