// GetApplicationErrorExceptionPtr of every method of the ten interfaces, as the response path
// calls it with a return code and the answer's payload: code 2 on Read, RequestResults and Start
// carries the interface's own UDSServiceFailed, every other code and Cancel carry none, and a
// payload too short for the error fails with std::out_of_range.

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "error_checks.h"
#include "service_catalogue.h"

namespace {

using namespace zevo::test;
using ruv::com::cpp_binding::Application_error_exception;

/// The one form in which the response path calls the operation of each method.
using Factory = std::exception_ptr (*)(unsigned char, const std::vector<std::uint8_t>&);

template <class Method>
constexpr bool has_factory = std::is_same_v<decltype(&Method::GetApplicationErrorExceptionPtr), Factory>;

constexpr char out_of_range_message[] = "Read beyond the end of the data buffer";

/// Payloads of every length that matters: none, one byte, two, and one byte more than any error has.
const std::vector<Bytes> payloads{{}, {0x31}, {0x31, 0x22}, {0x22, 0x31, 0x7F}};

template <class Interface>
class results_method_error : public testing::Test {};
template <class Interface>
class start_method_error : public testing::Test {};
template <class Interface>
class cancel_method_error : public testing::Test {};

TYPED_TEST_SUITE(results_method_error, All_interfaces, Interface_label);
TYPED_TEST_SUITE(start_method_error, Routines, Interface_label);
TYPED_TEST_SUITE(cancel_method_error, All_interfaces, Interface_label);

/// What one call of a method's operation gives, told in one line so that two methods can be
/// compared: "null", the error and its codes, or the text of an out_of_range.
template <class Interface, class Method>
std::string outcome(unsigned char code, const Bytes& payload) {
    std::exception_ptr pointer;
    try {
        pointer = Method::GetApplicationErrorExceptionPtr(code, payload);
    } catch (const std::out_of_range& error) {
        return std::string("out_of_range: ") + error.what();
    }
    if (!pointer) {
        return "null";
    }
    const auto error = caught_as<typename Interface::UDSServiceFailed>(pointer);
    if (!error) {
        return "foreign " + exception_type(pointer);
    }
    std::string text = "UDSServiceFailed " + std::to_string(error->response_code);
    if constexpr (Expected<Interface>::routine) {
        text += " " + std::to_string(error->start_response_code);
    }
    return text;
}

// --- Read of a data identifier, RequestResults of a routine ---

TYPED_TEST(results_method_error, code_2_gives_the_interfaces_UDSServiceFailed_built_from_the_payload) {
    using Results = Results_method_of<TypeParam>;
    using Error = typename TypeParam::UDSServiceFailed;
    static_assert(has_factory<Results>);

    const Bytes payload = Expected<TypeParam>::routine ? Bytes{0x31, 0x22} : Bytes{0x31};
    const std::exception_ptr pointer = Results::GetApplicationErrorExceptionPtr(2, payload);
    ASSERT_TRUE(pointer);
    const auto error = caught_as<Error>(pointer);
    ASSERT_TRUE(error.has_value()) << "holds " << exception_type(pointer);
    EXPECT_EQ(error->response_code, 0x31);
    if constexpr (Expected<TypeParam>::routine) {
        EXPECT_EQ(error->start_response_code, 0x22);
    }
    EXPECT_EQ(std::string(error->what()), Expected<TypeParam>::what);
    EXPECT_EQ(error->error_code(), 2);
}

TYPED_TEST(results_method_error, code_2_ignores_bytes_behind_the_error) {
    using Results = Results_method_of<TypeParam>;
    const Bytes payload{0x22, 0x31, 0x7F};
    const std::exception_ptr pointer = Results::GetApplicationErrorExceptionPtr(2, payload);
    ASSERT_TRUE(pointer);
    const auto error = caught_as<typename TypeParam::UDSServiceFailed>(pointer);
    ASSERT_TRUE(error.has_value()) << "holds " << exception_type(pointer);
    EXPECT_EQ(error->response_code, 0x22);
    if constexpr (Expected<TypeParam>::routine) {
        EXPECT_EQ(error->start_response_code, 0x31);
    }
}

TYPED_TEST(results_method_error, the_error_is_also_an_application_error_for_the_platform) {
    using Results = Results_method_of<TypeParam>;
    const std::exception_ptr pointer = Results::GetApplicationErrorExceptionPtr(2, Bytes{0x31, 0x22});
    ASSERT_TRUE(pointer);
    try {
        std::rethrow_exception(pointer);
    } catch (const Application_error_exception& error) {
        EXPECT_EQ(error.error_code(), 2);
        EXPECT_EQ(std::string(error.what()), Expected<TypeParam>::what);
    } catch (...) {
        ADD_FAILURE() << "not an Application_error_exception: " << exception_type(pointer);
    }
}

TYPED_TEST(results_method_error, every_other_code_gives_null_whatever_the_payload) {
    using Results = Results_method_of<TypeParam>;
    for (unsigned value = 0; value <= 0xFF; ++value) {
        const auto code = static_cast<unsigned char>(value);
        if (code == 2) {
            continue;
        }
        for (const Bytes& payload : payloads) {
            EXPECT_EQ((outcome<TypeParam, Results>(code, payload)), "null")
                << "code " << value << ", " << payload.size() << " payload bytes";
        }
    }
}

TYPED_TEST(results_method_error, codes_1_and_3_give_null_even_with_a_valid_error_payload) {
    using Results = Results_method_of<TypeParam>;
    EXPECT_FALSE(Results::GetApplicationErrorExceptionPtr(1, Bytes{0x31, 0x22}));
    EXPECT_FALSE(Results::GetApplicationErrorExceptionPtr(3, Bytes{0x31, 0x22}));
    EXPECT_FALSE(Results::GetApplicationErrorExceptionPtr(1, Bytes{}));
    EXPECT_FALSE(Results::GetApplicationErrorExceptionPtr(3, Bytes{}));
}

TYPED_TEST(results_method_error, code_2_with_an_empty_payload_throws_out_of_range) {
    using Results = Results_method_of<TypeParam>;
    const Bytes empty;
    EXPECT_EQ(out_of_range_text([&] { Results::GetApplicationErrorExceptionPtr(2, empty); }),
              out_of_range_message);
}

TYPED_TEST(results_method_error, the_error_is_caught_as_no_other_interfaces_UDSServiceFailed) {
    using Results = Results_method_of<TypeParam>;
    const std::exception_ptr pointer = Results::GetApplicationErrorExceptionPtr(2, Bytes{0x31, 0x22});
    ASSERT_TRUE(pointer);
    int caught_by = 0;
    All_interface_list::for_each([&](auto tag) {
        using Other = typename decltype(tag)::type;
        bool caught = false;
        try {
            std::rethrow_exception(pointer);
        } catch (const typename Other::UDSServiceFailed&) {
            caught = true;
        } catch (...) {
        }
        if (caught) {
            ++caught_by;
        }
        EXPECT_EQ(caught, (std::is_same_v<Other, TypeParam>)) << "caught as the error of " << Expected<Other>::label;
    });
    EXPECT_EQ(caught_by, 1);
}

// --- Start of a routine: forwards to RequestResults ---

TYPED_TEST(start_method_error, code_2_gives_the_interfaces_UDSServiceFailed_with_both_codes) {
    using Start = typename TypeParam::Start;
    static_assert(has_factory<Start>);
    const Bytes payload{0x22, 0x31, 0x7F};
    const std::exception_ptr pointer = Start::GetApplicationErrorExceptionPtr(2, payload);
    ASSERT_TRUE(pointer);
    const auto error = caught_as<typename TypeParam::UDSServiceFailed>(pointer);
    ASSERT_TRUE(error.has_value()) << "holds " << exception_type(pointer);
    EXPECT_EQ(error->response_code, 0x22);
    EXPECT_EQ(error->start_response_code, 0x31) << "the code a failed start answers with";
}

TYPED_TEST(start_method_error, one_byte_payload_throws_for_start_and_for_request_results) {
    const Bytes one_byte{0x22};
    EXPECT_EQ(out_of_range_text([&] { TypeParam::Start::GetApplicationErrorExceptionPtr(2, one_byte); }),
              out_of_range_message);
    EXPECT_EQ(out_of_range_text([&] { TypeParam::RequestResults::GetApplicationErrorExceptionPtr(2, one_byte); }),
              out_of_range_message);
}

TYPED_TEST(start_method_error, start_gives_what_request_results_gives_for_every_code_and_payload) {
    using Start = typename TypeParam::Start;
    using Results = typename TypeParam::RequestResults;
    for (unsigned value = 0; value <= 0xFF; ++value) {
        const auto code = static_cast<unsigned char>(value);
        for (const Bytes& payload : payloads) {
            EXPECT_EQ((outcome<TypeParam, Start>(code, payload)), (outcome<TypeParam, Results>(code, payload)))
                << "code " << value << ", " << payload.size() << " payload bytes";
        }
    }
}

TYPED_TEST(start_method_error, every_other_code_gives_null_whatever_the_payload) {
    using Start = typename TypeParam::Start;
    for (const unsigned char code : std::initializer_list<unsigned char>{0, 1, 3, 0x7F, 0xFF}) {
        for (const Bytes& payload : payloads) {
            EXPECT_FALSE(Start::GetApplicationErrorExceptionPtr(code, payload))
                << "code " << unsigned{code} << ", " << payload.size() << " payload bytes";
        }
    }
}

// --- Cancel: declares no application error ---

TYPED_TEST(cancel_method_error, no_code_is_an_application_error_whatever_the_payload) {
    using Cancel = typename TypeParam::Cancel;
    static_assert(has_factory<Cancel>);
    for (unsigned value = 0; value <= 0xFF; ++value) {
        const auto code = static_cast<unsigned char>(value);
        for (const Bytes& payload : payloads) {
            EXPECT_EQ((outcome<TypeParam, Cancel>(code, payload)), "null")
                << "code " << value << ", " << payload.size() << " payload bytes";
        }
    }
}

TYPED_TEST(cancel_method_error, code_2_with_an_empty_payload_gives_null_without_reading_it) {
    using Cancel = typename TypeParam::Cancel;
    const Bytes empty;
    std::exception_ptr pointer = std::make_exception_ptr(0);
    EXPECT_NO_THROW(pointer = Cancel::GetApplicationErrorExceptionPtr(2, empty));
    EXPECT_FALSE(pointer);
}

}  // namespace
