// The application error payload of return code 2, for each of the 26 methods through its
// GetApplicationErrorExceptionPtr: one byte for Read of a data identifier, two bytes for Start
// and RequestResults of a routine, further bytes ignored, shorter payloads refused with the
// reader's std::out_of_range; Cancel carries no application error whatever it is given.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "tests/someip/argument_samples.h"
#include "tests/someip/service_methods.h"
#include "tests/someip/thrown.h"

namespace {

using namespace zevo::test::methods;
using zevo::test::thrown_text;

constexpr const char* read_beyond_end = "Read beyond the end of the data buffer";

struct Method_label {
    template <class Case>
    static std::string GetName(int) {
        return Case::name();
    }
};

template <class Case>
class application_error_of : public testing::Test {
protected:
    using Error = typename Case::Interface::UDSServiceFailed;
    /// Bytes the error payload consists of: 1 for a data identifier, 2 for a routine.
    static constexpr std::size_t error_size = Case::is_routine ? 2 : 1;

    /// The error that code 2 with `payload` gives, if it is exactly the interface's own.
    static std::optional<Error> error_from(const Bytes& payload) {
        const std::exception_ptr pointer = Case::Method::GetApplicationErrorExceptionPtr(2, payload);
        if (!pointer) {
            return std::nullopt;
        }
        try {
            std::rethrow_exception(pointer);
        } catch (const Error& error) {
            if (typeid(error) == typeid(Error)) {
                return error;
            }
        } catch (...) {
        }
        return std::nullopt;
    }

    /// "<Interface>::UDSServiceFailed::2", the interface's name without its namespace.
    static std::string expected_what() {
        const std::string name = Case::Interface::name;
        return name.substr(name.rfind(':') + 1) + "::UDSServiceFailed::2";
    }
};
using application_error_of_types = Rebind_t<testing::Types, All_methods>;
TYPED_TEST_SUITE(application_error_of, application_error_of_types, Method_label);

TYPED_TEST(application_error_of, code_2_with_the_tables_bytes_carries_them_as_the_codes) {
    if constexpr (TypeParam::is_cancel) {
        EXPECT_FALSE(TypeParam::Method::GetApplicationErrorExceptionPtr(2, Bytes{0x22, 0x31}));
    } else {
        const Bytes payload = TypeParam::is_routine ? Bytes{0x22, 0x31} : Bytes{0x31};
        const auto error = TestFixture::error_from(payload);
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->response_code, payload[0]);
        if constexpr (TypeParam::is_routine) {
            EXPECT_EQ(error->start_response_code, payload[1]);
        }
        EXPECT_EQ(error->what(), TestFixture::expected_what());
    }
}

TYPED_TEST(application_error_of, code_2_ignores_bytes_behind_the_codes) {
    if constexpr (!TypeParam::is_cancel) {
        const Bytes payload{0x22, 0x31, 0x7F, 0x00};
        const auto error = TestFixture::error_from(payload);
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(error->response_code, 0x22);
        if constexpr (TypeParam::is_routine) {
            EXPECT_EQ(error->start_response_code, 0x31);
        }
    }
}

TYPED_TEST(application_error_of, code_2_with_fewer_bytes_than_the_table_reads_beyond_the_end) {
    using Method = typename TypeParam::Method;
    for (std::size_t size = 0; size < TestFixture::error_size; ++size) {
        const Bytes payload(size, 0x22);
        if constexpr (TypeParam::is_cancel) {
            EXPECT_FALSE(Method::GetApplicationErrorExceptionPtr(2, payload)) << "payload of " << size << " bytes";
        } else {
            EXPECT_EQ(thrown_text<std::out_of_range>([&payload] {
                          static_cast<void>(Method::GetApplicationErrorExceptionPtr(2, payload));
                      }),
                      read_beyond_end)
                << "payload of " << size << " bytes";
        }
    }
}

TYPED_TEST(application_error_of, any_other_code_is_no_application_error_whatever_the_payload) {
    for (const unsigned char code : std::initializer_list<unsigned char>{0x00, 0x01, 0x03, 0x81, 0x82, 0x86, 0xFF}) {
        for (const Bytes& payload : {Bytes{}, Bytes{0x22}, Bytes{0x22, 0x31}}) {
            EXPECT_FALSE(TypeParam::Method::GetApplicationErrorExceptionPtr(code, payload))
                << "code " << int{code} << ", payload of " << payload.size() << " bytes";
        }
    }
}

}  // namespace
