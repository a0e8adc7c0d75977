// The response path of a method call: the handler routines and handle_error, driven directly
// with return codes and payloads as the runtime would hand them over, on this thread. A spy
// backend stands in for the platform's logger.

#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "proxy/response_handler.h"
#include "ruv/com/infrastructure_exception.h"
#include "ruv/com/log/generic_logger.h"
#include "tests/trace/spy_log_backend.h"

namespace {

using namespace zevo::test;
using kel::com::Promise;
using kel::com::runtime::Serialized_payload;
using ruv::com::Infrastructure_exception;
using ruv::com::Service_not_available_exception;
using ruv::com::Transport_exception;
using ruv::com::cpp_binding::Service_info;
using ruv::com::cpp_binding::proxy::detail::Response_closure;
using Debug = talm::services::diag::r_0648::RoutineService_ZevoDebug;
using Counter = talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter;
using Key_list = talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList;
using Download = talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer;
using Bytes = std::vector<std::uint8_t>;

const Service_info debug_info{Debug::name, "1"};
const Service_info counter_info{Counter::name, "1"};

Serialized_payload payload_of(const Bytes& bytes) {
    Serialized_payload payload;
    payload.buffer = std::make_shared<Bytes>(bytes);
    payload.begin = payload.buffer->data();
    payload.end = payload.buffer->data() + payload.buffer->size();
    return payload;
}

/// One call's promise, future and handler closure, as the request path would make them.
template <class Method, class R>
struct Call {
    explicit Call(ruv::com::log::Generic_logger& logger, const Service_info& info)
        : promise(std::make_shared<Promise<R>>()), future(promise->get_future()), handler{logger, promise, info} {}

    void answer(unsigned char code, const Bytes& bytes) { handler(code, payload_of(bytes)); }

    std::shared_ptr<Promise<R>> promise;
    kel::com::Future<R> future;
    Response_closure<Method, R> handler;
};

/// The exception the future holds; fails the test when it holds a value.
template <class R>
std::exception_ptr failure_of(kel::com::Future<R>& future) {
    try {
        future.get();
    } catch (...) {
        return std::current_exception();
    }
    ADD_FAILURE() << "the future holds a value";
    return nullptr;
}

/// The code of the Transport_exception in `error`; fails the test for anything else.
int transport_code(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const Transport_exception& transport) {
        EXPECT_STREQ(transport.what(), "Transport exception");
        return transport.code();
    } catch (...) {
        ADD_FAILURE() << "not a Transport_exception";
    }
    return -1;
}

std::string incident(const std::string& id, const Service_info& info, unsigned method_id, unsigned code) {
    return R"({"1_incident":{"1_id":")" + id + R"(","2_service_id":{"1_id":"Service_id","string":")" + info.service +
           R"("},"3_instance_id":{"1_id":"Instance_id","2_string":"1"},"4_method_id":)" + std::to_string(method_id) +
           R"(,"5_error_code":)" + std::to_string(code) + "}";
}

class response_path : public testing::Test {
protected:
    Spy_log_backend spy{true};
    ruv::com::log::Generic_logger logger{"ara::com", &spy};
};

// --- return codes other than 0 ---

TEST_F(response_path, code_0x86_is_a_transport_failure_traced_as_request_error) {
    Call<Debug::Start, void> call(logger, debug_info);
    call.answer(0x86, {});
    EXPECT_EQ(transport_code(failure_of(call.future)), 0x86);
    EXPECT_EQ(only_level(spy), 2);
    EXPECT_EQ(only_line(spy), incident("Method_call_request_err", debug_info, 2, 0x86) +
                                  R"(,"2_data":{"1_string":"Exception: Transport exception"}})");
}

TEST_F(response_path, codes_0x81_and_0x82_are_transport_failures_with_their_code) {
    for (const unsigned char code : std::vector<unsigned char>{0x81, 0x82}) {
        Spy_log_backend own{true};
        ruv::com::log::Generic_logger own_logger{"ara::com", &own};
        Call<Counter::Read, Counter::Read::Output> call(own_logger, counter_info);
        call.answer(code, {1, 2, 3});
        EXPECT_EQ(transport_code(failure_of(call.future)), code);
        EXPECT_EQ(only_line(own), incident("Method_call_request_err", counter_info, 1, code) +
                                      R"(,"2_data":{"1_string":"Exception: Transport exception"}})");
    }
}

TEST_F(response_path, codes_that_mean_nothing_here_become_0x8a_with_the_received_code_traced) {
    for (const unsigned char code : std::vector<unsigned char>{0x80, 0x83, 0x84, 0x85, 0x87, 0x8A, 0xFE, 1, 3, 200}) {
        Spy_log_backend own{true};
        ruv::com::log::Generic_logger own_logger{"ara::com", &own};
        Call<Debug::RequestResults, Debug::RequestResults::Output> call(own_logger, debug_info);
        call.answer(code, {});
        EXPECT_EQ(transport_code(failure_of(call.future)), 0x8A) << "code " << int(code);
        EXPECT_EQ(only_level(own), 2);
        EXPECT_EQ(only_line(own), incident("Method_call_response_invalid_code", debug_info, 1, code) +
                                      R"(,"2_data":{"1_string":"Exception: Transport exception"}})")
            << "code " << int(code);
    }
}

TEST_F(response_path, code_0xff_delivers_service_not_available_through_the_future) {
    Call<Debug::Cancel, void> call(logger, debug_info);
    call.answer(0xFF, {});
    const std::exception_ptr error = failure_of(call.future);
    try {
        std::rethrow_exception(error);
    } catch (const Service_not_available_exception& unavailable) {
        EXPECT_STREQ(unavailable.what(), "Service not available exception");
    } catch (...) {
        ADD_FAILURE() << "not a Service_not_available_exception";
    }
    EXPECT_EQ(only_line(spy), incident("Method_call_request_err", debug_info, 0, 0xFF) +
                                  R"(,"2_data":{"1_string":"Exception: Service not available exception"}})");
}

TEST_F(response_path, code_2_is_the_application_error_of_read_traced_at_debug_level) {
    Call<Counter::Read, Counter::Read::Output> call(logger, counter_info);
    call.answer(2, {0x22, 0x99});
    const std::exception_ptr error = failure_of(call.future);
    try {
        std::rethrow_exception(error);
    } catch (const Counter::UDSServiceFailed& failed) {
        EXPECT_EQ(failed.response_code, 0x22);
        EXPECT_EQ(only_level(spy), 5);
        EXPECT_EQ(only_line(spy), incident("Method_call_response_rx", counter_info, 1, 2) +
                                      R"(,"2_data":{"1_string":"Exception: )" + failed.what() + R"("}})");
    } catch (...) {
        ADD_FAILURE() << "not the interface's UDSServiceFailed";
    }
}

TEST_F(response_path, code_2_on_start_carries_both_codes_of_the_routine_error) {
    Call<Debug::Start, void> call(logger, debug_info);
    call.answer(2, {0x31, 0x24, 0x00});
    try {
        std::rethrow_exception(failure_of(call.future));
    } catch (const Debug::UDSServiceFailed& failed) {
        EXPECT_EQ(failed.response_code, 0x31);
        EXPECT_EQ(failed.start_response_code, 0x24);
    } catch (...) {
        ADD_FAILURE() << "not the interface's UDSServiceFailed";
    }
    EXPECT_EQ(only_level(spy), 5);
}

TEST_F(response_path, code_2_on_cancel_is_an_invalid_code) {
    Call<Debug::Cancel, void> call(logger, debug_info);
    call.answer(2, {0x31, 0x24});
    EXPECT_EQ(transport_code(failure_of(call.future)), 0x8A);
    EXPECT_EQ(only_line(spy), incident("Method_call_response_invalid_code", debug_info, 0, 2) +
                                  R"(,"2_data":{"1_string":"Exception: Transport exception"}})");
}

TEST_F(response_path, an_empty_error_payload_reaches_the_factory_and_ends_as_a_deserializer_exception) {
    Call<Counter::Read, Counter::Read::Output> call(logger, counter_info);
    call.answer(2, {});
    EXPECT_EQ(transport_code(failure_of(call.future)), 0x8A);
    EXPECT_EQ(only_level(spy), 2);
    EXPECT_EQ(only_line(spy), incident("Method_call_deserializer_exception", counter_info, 1, 2) +
                                  R"(,"2_data":{"1_string":"Read beyond the end of the data buffer"}})");
}

TEST_F(response_path, a_routine_error_of_one_byte_is_malformed) {
    Call<Debug::RequestResults, Debug::RequestResults::Output> call(logger, debug_info);
    call.answer(2, {0x31});
    EXPECT_EQ(transport_code(failure_of(call.future)), 0x8A);
    EXPECT_EQ(only_line(spy), incident("Method_call_deserializer_exception", debug_info, 1, 2) +
                                  R"(,"2_data":{"1_string":"Read beyond the end of the data buffer"}})");
}

// --- return code 0 ---

TEST_F(response_path, a_good_response_gives_the_output_and_traces_its_fields) {
    Call<Key_list::Read, Key_list::Read::Output> call(logger, {Key_list::name, "1"});
    call.answer(0, {0x01, 0x02, 0x00, 0x00, 0x00, 0x03, 0xAA, 0xBB, 0xCC});
    const Key_list::Read::Output output = call.future.get();
    EXPECT_EQ(output.field_1, 0x01);
    EXPECT_EQ(output.field_2, 0x02);
    EXPECT_EQ(output.field_3, (Bytes{0xAA, 0xBB, 0xCC}));
    EXPECT_EQ(only_level(spy), 5);
    EXPECT_EQ(only_line(spy),
              incident("Method_call_response_rx", {Key_list::name, "1"}, 1, 0) +
                  R"(,"2_data":{"1_generated_type":{"1_uint8":1,"2_uint8":2,"3_vector":[170,187,204]}}})");
}

TEST_F(response_path, a_response_one_byte_short_is_a_deserializer_exception_with_code_0) {
    Call<Counter::Read, Counter::Read::Output> call(logger, counter_info);
    call.answer(0, {0x01, 0x02});
    EXPECT_EQ(transport_code(failure_of(call.future)), 0x8A);
    EXPECT_EQ(only_level(spy), 2);
    EXPECT_EQ(only_line(spy), incident("Method_call_deserializer_exception", counter_info, 1, 0) +
                                  R"(,"2_data":{"1_string":"Read beyond the end of the data buffer"}})");
}

TEST_F(response_path, a_download_result_of_one_byte_fails_and_of_two_succeeds) {
    Call<Download::RequestResults, Download::RequestResults::Output> short_call(logger, {Download::name, "1"});
    short_call.answer(0, {0x01});
    EXPECT_EQ(transport_code(failure_of(short_call.future)), 0x8A);

    Call<Download::RequestResults, Download::RequestResults::Output> good_call(logger, {Download::name, "1"});
    good_call.answer(0, {0x01, 0x02, 0x03});
    const auto output = good_call.future.get();
    EXPECT_EQ(output.field_1, 0x01);
    EXPECT_EQ(output.field_2, 0x02);
}

TEST_F(response_path, a_method_without_result_succeeds_whatever_its_payload_holds) {
    for (const Bytes& payload : {Bytes{}, Bytes{0xFF}, Bytes(100, 0xEE)}) {
        Spy_log_backend own{true};
        ruv::com::log::Generic_logger own_logger{"ara::com", &own};
        Call<Debug::Start, void> call(own_logger, debug_info);
        call.answer(0, payload);
        EXPECT_NO_THROW(call.future.get());
        EXPECT_EQ(only_line(own), incident("Method_call_response_rx", debug_info, 2, 0) + "}")
            << "no \"2_data\" for a method without result";
    }
}

TEST_F(response_path, a_payload_without_buffer_is_read_as_no_bytes) {
    Call<Counter::Read, Counter::Read::Output> call(logger, counter_info);
    call.handler(0, Serialized_payload{});
    EXPECT_EQ(transport_code(failure_of(call.future)), 0x8A);
}

// --- levels ---

TEST_F(response_path, at_level_4_a_good_response_writes_nothing_while_failures_are_traced) {
    spy.enabled = false;  // debug is off; the spy's answer stands for "level 5 disabled"
    Call<Counter::Read, Counter::Read::Output> good(logger, counter_info);
    good.answer(0, {0x01, 0x00, 0x02});
    EXPECT_EQ(good.future.get().field_2, 2);
    EXPECT_TRUE(spy.lines.empty());

    // A backend that enables exactly levels up to 4.
    class Info_backend : public ruv::com::log::Log_backend {
    public:
        bool is_log_enabled(unsigned char level) override { return level <= 4; }
        void log(const std::string& text, unsigned char level) override { lines.push_back({level, text}); }
        std::vector<Logged_line> lines;
    } info_backend;
    ruv::com::log::Generic_logger info_logger{"ara::com", &info_backend};
    Call<Counter::Read, Counter::Read::Output> ok(info_logger, counter_info);
    ok.answer(0, {0x01, 0x00, 0x02});
    Call<Counter::Read, Counter::Read::Output> failed(info_logger, counter_info);
    failed.answer(0x81, {});
    Call<Counter::Read, Counter::Read::Output> application(info_logger, counter_info);
    application.answer(2, {0x22});
    ASSERT_EQ(info_backend.lines.size(), 1u) << "only the transport failure is traced";
    EXPECT_EQ(info_backend.lines.front().level, 2);
}

// --- order and promise misuse ---

TEST_F(response_path, the_trace_is_written_before_the_promise_completes) {
    class Checking_backend : public ruv::com::log::Log_backend {
    public:
        bool is_log_enabled(unsigned char) override { return true; }
        void log(const std::string&, unsigned char) override {
            ready_when_logged = future->wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        }
        kel::com::Future<void>* future = nullptr;
        bool ready_when_logged = true;
    } checking;
    ruv::com::log::Generic_logger checking_logger{"ara::com", &checking};
    for (const unsigned char code : std::vector<unsigned char>{0, 0x86}) {
        Call<Debug::Start, void> call(checking_logger, debug_info);
        checking.future = &call.future;
        checking.ready_when_logged = true;
        call.answer(code, {});
        EXPECT_FALSE(checking.ready_when_logged) << "code " << int(code);
    }
}

TEST_F(response_path, a_second_answer_on_a_satisfied_promise_throws_into_the_runtime) {
    Call<Counter::Read, Counter::Read::Output> call(logger, counter_info);
    call.answer(0, {0x01, 0x00, 0x02});
    try {
        call.answer(0, {0x01, 0x00, 0x02});
        ADD_FAILURE() << "no exception";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::promise_already_satisfied);
    }
    ASSERT_EQ(spy.lines.size(), 3u) << "two results traced, then the failure of set_value";
    EXPECT_EQ(spy.lines[2].level, 2);
    EXPECT_EQ(spy.lines[2].text.find(R"({"1_incident":{"1_id":"Method_call_deserializer_exception")"), 0u)
        << "set_value's failure went the deserializer route first";
    EXPECT_EQ(call.future.get().field_2, 2) << "the first answer stands";
}

TEST_F(response_path, the_handler_keeps_the_call_alive_after_the_caller_dropped_its_future) {
    Call<Debug::RequestResults, Debug::RequestResults::Output> call(logger, debug_info);
    { const auto dropped = std::move(call.future); }
    call.promise.reset();  // the closure's reference is the only one left
    EXPECT_NO_THROW(call.answer(0, {0x01, 0x02, 0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(spy.lines.size(), 1u);
}

TEST(response_closure, holds_the_logger_then_the_promise_then_the_service_info) {
    Spy_log_backend spy;
    ruv::com::log::Generic_logger logger{"ara::com", &spy};
    const Response_closure<Debug::Start, void> closure{logger, std::make_shared<Promise<void>>(), debug_info};
    const auto* base = reinterpret_cast<const unsigned char*>(&closure);
    const void* first_word = *reinterpret_cast<const void* const*>(base);
    EXPECT_EQ(first_word, static_cast<const void*>(&logger)) << "the logger reference is the first word";
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(&closure.promise) - base, 8);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(&closure.info) - base, 24);
    static_assert(sizeof(Response_closure<Debug::Start, void>) == 24 + sizeof(Service_info));
}

}  // namespace
