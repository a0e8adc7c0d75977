#pragma once
// The application error UDSServiceFailed (error code 2) that every service interface nests, in
// its two forms: a data identifier's carries one negative response code, a routine's two (the
// first for a failed results request, the second for a failed start). Each interface's class
// derives from one of these templates with itself as argument and supplies `what_text`.
// Immutable after construction; handed between threads only through an exception_ptr.

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <vector>

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

template <class Error>
class Uds_service_failed_base : public ruv::com::cpp_binding::Application_error_exception {
public:
    static constexpr std::uint8_t code = 2;

    const char* what() const noexcept override { return Error::what_text; }
    std::uint8_t error_code() const noexcept override { return code; }
};

/// The data identifiers' form: `response_code` answers read.
template <class Error>
class Data_identifier_service_failed : public Uds_service_failed_base<Error> {
public:
    explicit Data_identifier_service_failed(ruv::dm::types::UDSResponseCodeType read_code) noexcept
        : response_code(read_code) {}
    /// Throws std::out_of_range("Read beyond the end of the data buffer") on an empty payload.
    explicit Data_identifier_service_failed(const std::vector<std::uint8_t>& payload)
        : response_code(error_payload_byte(payload, 0)) {}

    void write_payload(ruv::com::cpp_binding::Error_payload_writer& writer) const override {
        writer.bytes().push_back(response_code);
    }

    ruv::dm::types::UDSResponseCodeType response_code = 0;
};

/// The routines' form: `response_code` answers request_results, `start_response_code` start.
template <class Error>
class Routine_service_failed : public Uds_service_failed_base<Error> {
public:
    Routine_service_failed(ruv::dm::types::UDSResponseCodeType results_code,
                           ruv::dm::types::UDSResponseCodeType start_code) noexcept
        : response_code(results_code), start_response_code(start_code) {}
    /// Needs both bytes, also where only one of them is used; throws std::out_of_range
    /// ("Read beyond the end of the data buffer") otherwise. Later bytes are ignored.
    explicit Routine_service_failed(const std::vector<std::uint8_t>& payload)
        : response_code(error_payload_byte(payload, 0)), start_response_code(error_payload_byte(payload, 1)) {}

    void write_payload(ruv::com::cpp_binding::Error_payload_writer& writer) const override {
        writer.bytes().push_back(response_code);
        writer.bytes().push_back(start_response_code);
    }

    ruv::dm::types::UDSResponseCodeType response_code = 0;
    ruv::dm::types::UDSResponseCodeType start_response_code = 0;
};

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
