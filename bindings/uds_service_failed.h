#pragma once
// The application error UDSServiceFailed (error code 2) that every service interface nests, in
// its two forms: a data identifier's carries one negative response code, a routine's two (the
// first for a failed results request, the second for a failed start). The class is declared in
// its interface with one of the macros below and defined with the matching ZEVO_DEFINE_ macro.
// Immutable after construction; handed between threads only through an exception_ptr.

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <vector>

#include "extension/export.h"
#include "extension/uds_response_code.h"
#include "ruv/com/cpp_binding/application_error_exception.h"

namespace talm::services::diag {

/// Reads byte `index` of an error payload; a missing byte fails the whole error.
inline ruv::dm::types::UDSResponseCodeType error_payload_byte(const std::vector<std::uint8_t>& payload,
                                                              std::size_t index) {
    if (index >= payload.size()) {
        throw std::out_of_range("Read beyond the end of the data buffer");
    }
    return payload[index];
}

/// Appends the error's codes to its payload, in order of declaration.
inline void write_error_codes(ruv::com::cpp_binding::Error_payload_writer& writer,
                              std::initializer_list<ruv::dm::types::UDSResponseCodeType> codes) {
    writer.bytes().insert(writer.bytes().end(), codes.begin(), codes.end());
}

}  // namespace talm::services::diag

/// What both forms of UDSServiceFailed declare besides their constructors and codes.
#define ZEVO_SERVICE_FAILED_OVERRIDES                                                            \
    static constexpr std::uint8_t code = 2;                                                      \
    ~UDSServiceFailed() override;                                                                \
    const char* what() const noexcept override;                                                  \
    std::uint8_t error_code() const noexcept override;                                           \
    void write_payload(::ruv::com::cpp_binding::Error_payload_writer& writer) const override;

/// The UDSServiceFailed nested in a data identifier's interface: `response_code` answers read.
#define ZEVO_DATA_IDENTIFIER_SERVICE_FAILED                                                          \
    class ZEVO_EXPORT UDSServiceFailed final : public ::ruv::com::cpp_binding::Application_error_exception { \
    public:                                                                                           \
        explicit UDSServiceFailed(::ruv::dm::types::UDSResponseCodeType read_code) noexcept;          \
        /** Throws std::out_of_range("Read beyond the end of the data buffer") on an empty payload. */ \
        explicit UDSServiceFailed(const std::vector<std::uint8_t>& payload);                         \
        ZEVO_SERVICE_FAILED_OVERRIDES                                                                 \
        ::ruv::dm::types::UDSResponseCodeType response_code = 0;                                      \
    };

/// The UDSServiceFailed nested in a routine's interface: `response_code` answers
/// request_results, `start_response_code` start.
#define ZEVO_ROUTINE_SERVICE_FAILED                                                                  \
    class ZEVO_EXPORT UDSServiceFailed final : public ::ruv::com::cpp_binding::Application_error_exception { \
    public:                                                                                           \
        UDSServiceFailed(::ruv::dm::types::UDSResponseCodeType results_code,                          \
                         ::ruv::dm::types::UDSResponseCodeType start_code) noexcept;                  \
        /** Needs both bytes, also where only one is used; throws std::out_of_range               \
            ("Read beyond the end of the data buffer") otherwise. Later bytes are ignored. */         \
        explicit UDSServiceFailed(const std::vector<std::uint8_t>& payload);                         \
        ZEVO_SERVICE_FAILED_OVERRIDES                                                                 \
        ::ruv::dm::types::UDSResponseCodeType response_code = 0;                                      \
        ::ruv::dm::types::UDSResponseCodeType start_response_code = 0;                                \
    };

/// The members of one interface's UDSServiceFailed; its key function lives where this stands.
#define ZEVO_DEFINE_SERVICE_FAILED_COMMON(Interface)                                                  \
    Interface::UDSServiceFailed::~UDSServiceFailed() = default;                                       \
    const char* Interface::UDSServiceFailed::what() const noexcept {                                  \
        return #Interface "::UDSServiceFailed::2";                                                    \
    }                                                                                                 \
    std::uint8_t Interface::UDSServiceFailed::error_code() const noexcept { return code; }

#define ZEVO_DEFINE_DATA_IDENTIFIER_SERVICE_FAILED(Interface)                                         \
    ZEVO_DEFINE_SERVICE_FAILED_COMMON(Interface)                                                      \
    Interface::UDSServiceFailed::UDSServiceFailed(::ruv::dm::types::UDSResponseCodeType read_code) noexcept \
        : response_code(read_code) {}                                                                 \
    Interface::UDSServiceFailed::UDSServiceFailed(const std::vector<std::uint8_t>& payload)          \
        : response_code(::talm::services::diag::error_payload_byte(payload, 0)) {}                    \
    void Interface::UDSServiceFailed::write_payload(::ruv::com::cpp_binding::Error_payload_writer& writer) const { \
        ::talm::services::diag::write_error_codes(writer, {response_code});                           \
    }

#define ZEVO_DEFINE_ROUTINE_SERVICE_FAILED(Interface)                                                 \
    ZEVO_DEFINE_SERVICE_FAILED_COMMON(Interface)                                                      \
    Interface::UDSServiceFailed::UDSServiceFailed(::ruv::dm::types::UDSResponseCodeType results_code, \
                                                  ::ruv::dm::types::UDSResponseCodeType start_code) noexcept \
        : response_code(results_code), start_response_code(start_code) {}                             \
    Interface::UDSServiceFailed::UDSServiceFailed(const std::vector<std::uint8_t>& payload)          \
        : response_code(::talm::services::diag::error_payload_byte(payload, 0)),                      \
          start_response_code(::talm::services::diag::error_payload_byte(payload, 1)) {}              \
    void Interface::UDSServiceFailed::write_payload(::ruv::com::cpp_binding::Error_payload_writer& writer) const { \
        ::talm::services::diag::write_error_codes(writer, {response_code, start_response_code});      \
    }

namespace talm::services::diag {

/// A method's GetApplicationErrorExceptionPtr: return code 2 carries the interface's
/// UDSServiceFailed in the payload; any other code is no application error (null).
template <class Error>
std::exception_ptr application_error_ptr(unsigned char code, const std::vector<std::uint8_t>& payload) {
    if (code != Error::code) {
        return nullptr;
    }
    const Error error(payload);
    return std::make_exception_ptr(error);
}

/// Cancel declares no application error: whatever the code, there is none.
inline std::exception_ptr no_application_error(unsigned char /*code*/, const std::vector<std::uint8_t>& /*payload*/) {
    return nullptr;
}

}  // namespace talm::services::diag
