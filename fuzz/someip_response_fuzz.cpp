// someip_response_fuzz: arbitrary bytes as what a service answers. Each input is read as the
// response payload of the ten methods with an Output, and as the application error payload of
// all 26 methods, with the input's first byte as return code and with code 2. A reader may give
// a value or one of its own exceptions with its fixed text; a value must survive being written
// back by the service side and read again; a factory must give exactly the error of its table.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "someip/error_texts.h"
#include "someip/method_payload.h"
#include "someip/service_payload.h"
#include "tests/someip/service_methods.h"

namespace {

using namespace zevo::test::methods;
using zevo::fuzz::described;
using zevo::fuzz::expect;
using zevo::fuzz::fail;
using zevo::fuzz::is_exactly;
using Bytes = std::vector<std::uint8_t>;
namespace serialization = ruv::com::someip::serialization;
namespace texts = serialization::error_texts;

/// The exceptions the payload reader documents, each with one of its fixed texts.
bool is_reader_error(const std::exception& error) {
    return is_exactly<std::out_of_range>(error, {texts::read_beyond_end, texts::invalid_end_position,
                                                 texts::record_length_too_small,
                                                 texts::record_length_smaller_than_expected}) ||
           is_exactly<std::overflow_error>(error, {texts::size_overflow}) ||
           is_exactly<std::invalid_argument>(error, {texts::invalid_length_field_size, texts::null_destination});
}

template <class Case>
void read_response(const Bytes& payload) {
    using Output = typename Case::Method::Output;
    Output output{};
    try {
        serialization::deserialize_output(payload, output);
    } catch (const std::exception& error) {
        expect(is_reader_error(error), Case::name() + " response: " + described(error));
        return;
    } catch (...) {
        fail(Case::name() + " response: an exception of unknown type");
    }
    // The service's writer never needs more bytes than were read: arrays may have come widened,
    // it writes them at their own size.
    const Bytes rewritten = serialization::response_payload(output);
    expect(rewritten.size() <= payload.size(), Case::name() + " response: written back longer than read");
    const Output again = serialization::read_output<Output>(rewritten);
    expect(again.fields() == output.fields(), Case::name() + " response: written back reads differently");
}

template <class Case>
void read_application_error(unsigned char code, const Bytes& payload) {
    using Method = typename Case::Method;
    using Error = typename Case::Interface::UDSServiceFailed;
    const std::size_t error_size = Case::is_routine ? 2 : 1;
    const bool carries_error = code == 2 && !Case::is_cancel;
    const std::string where = Case::name() + " error with code " + std::to_string(code);

    std::exception_ptr pointer;
    try {
        pointer = Method::GetApplicationErrorExceptionPtr(code, payload);
    } catch (const std::exception& error) {
        expect(carries_error && payload.size() < error_size &&
                   is_exactly<std::out_of_range>(error, {texts::read_beyond_end}),
               where + ": " + described(error));
        return;
    } catch (...) {
        fail(where + ": an exception of unknown type");
    }
    if (!carries_error) {
        expect(!pointer, where + ": an application error where there is none");
        return;
    }
    expect(pointer && payload.size() >= error_size, where + ": no application error");
    try {
        std::rethrow_exception(pointer);
    } catch (const Error& error) {
        expect(typeid(error) == typeid(Error), where + ": not exactly the interface's error");
        expect(error.response_code == payload[0], where + ": response_code is not the first byte");
        if constexpr (Case::is_routine) {
            expect(error.start_response_code == payload[1], where + ": start_response_code is not the second byte");
        }
    } catch (...) {
        fail(where + ": another exception behind the pointer");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes payload(data, data + size);
    for_each_type<Results_methods>([&payload](auto tag) { read_response<typename decltype(tag)::type>(payload); });
    const unsigned char first_code = payload.empty() ? 0 : payload.front();
    for_each_type<All_methods>([&](auto tag) {
        read_application_error<typename decltype(tag)::type>(first_code, payload);
        read_application_error<typename decltype(tag)::type>(2, payload);
    });
    return 0;
}
