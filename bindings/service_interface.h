#pragma once
// The building blocks of the ten generated service interface classes: the method classes'
// common part (identifier, signature, GetApplicationErrorExceptionPtr). Each interface's own
// header adds what is its own: its Output records and the arguments of its Start.
// Identifiers are the same in every interface: Cancel 0, Read or RequestResults 1, Start 2.

#include <cstdint>
#include <exception>
#include <vector>

#include "bindings/uds_service_failed.h"
#include "extension/meta_info.h"

namespace talm::services::diag {

using ruv::dm::foundation::extension::Meta_info;

/// Cancel: no result and no application error, whatever the return code and payload.
struct Cancel_method {
    static constexpr std::uint16_t method_id = 0;
    using Signature = void(const Meta_info&);
    static std::exception_ptr GetApplicationErrorExceptionPtr(unsigned char code,
                                                              const std::vector<std::uint8_t>& payload) {
        return no_application_error(code, payload);
    }
};

/// Read or RequestResults: returns the method's Output; may fail with the interface's error.
template <class Error>
struct Output_method {
    static constexpr std::uint16_t method_id = 1;
    static std::exception_ptr GetApplicationErrorExceptionPtr(unsigned char code,
                                                              const std::vector<std::uint8_t>& payload) {
        return application_error_ptr<Error>(code, payload);
    }
};

/// Start: no result; its application error is that of RequestResults, to which it forwards.
template <class Request_results, class... Arguments>
struct Start_method {
    static constexpr std::uint16_t method_id = 2;
    using Signature = void(const Meta_info&, Arguments...);
    static std::exception_ptr GetApplicationErrorExceptionPtr(unsigned char code,
                                                              const std::vector<std::uint8_t>& payload) {
        return Request_results::GetApplicationErrorExceptionPtr(code, payload);
    }
};

}  // namespace talm::services::diag
