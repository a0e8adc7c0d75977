#pragma once
// Declares the extension class of one service interface: the host-facing face (data identifier
// or routine) first, the service connection second, then the cancel flag and the future of the
// last Cancel call. The ten classes differ only in their interface, so they are generated here
// from the interface's name and identifier; their jobs are the shared flows of
// data_identifier_job.h and routine_job.h, instantiated here with the class's proxy and interface.
// The destructor (defined with ZEVO_DEFINE_SERVICE_EXTENSION) is the class's key function.

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "bindings/data_identifier_job.h"
#include "bindings/job_flow.h"
#include "bindings/routine_job.h"
#include "extension/export.h"
#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"
#include "extension/extension_service_callback.h"
#include "proxy/future.h"
#include "proxy/method_request.h"  // the body of the proxy methods' call operator

#define ZEVO_SERVICE_EXTENSION_STATE(Interface, UdsIdentifier)                                  \
public:                                                                                          \
    static constexpr std::uint16_t identifier = UdsIdentifier;                                  \
    static constexpr const char* interface_name = #Interface;                                   \
    Interface##_extension() noexcept = default;                                                 \
    ~Interface##_extension() override;                                                          \
    /* attach starts the search for the service; detach stops its flow, the proxy stays. */      \
    void attach(const std::string& instance) override { this->start_find_service(instance); }   \
    void detach() override { Extension_service_callback::detach(); }                            \
                                                                                                 \
protected:                                                                                       \
    std::atomic<bool> cancel_requested_{false}; /* set by cancel, cleared by the next job */    \
    kel::com::Future<void>* cancel_result_ = nullptr; /* owned; the last Cancel call's future */ \
                                                                                                 \
public:

/// cancel, the same in all ten classes: tells the service, then releases the blocked job.
#define ZEVO_SERVICE_EXTENSION_CANCEL                                                            \
    ::ruv::dm::types::UDSResponseCodeType cancel(const ::ruv::dm::foundation::extension::Meta_info& meta_info) \
        override {                                                                               \
        return ::ruv::dm::foundation::extension::job_flow::cancel(proxy_, cancel_requested_, cancel_result_, \
                                                                  meta_info);                    \
    }

/// A data identifier's extension: read and cancel are served, write stays the base's.
#define ZEVO_DATA_IDENTIFIER_EXTENSION(Interface, UdsIdentifier)                                 \
    class ZEVO_EXPORT Interface##_extension                                                      \
        : public ::ruv::dm::foundation::extension::Extension_data_identifier,                    \
          public ::ruv::dm::foundation::extension::Extension_service_callback<proxy::Interface##Proxy> { \
        ZEVO_SERVICE_EXTENSION_STATE(Interface, UdsIdentifier)                                   \
        ::ruv::dm::types::UDSResponseCodeType read(const ::ruv::dm::foundation::extension::Meta_info& meta_info, \
                                                   std::vector<std::uint8_t>& response) override { \
            return ::ruv::dm::foundation::extension::job_flow::read<Interface>(proxy_, cancel_requested_, \
                                                                               meta_info, response); \
        }                                                                                        \
        ZEVO_SERVICE_EXTENSION_CANCEL                                                            \
    };

/// A routine's extension: start, request_results and cancel are served, stop stays the base's.
#define ZEVO_ROUTINE_EXTENSION(Interface, UdsIdentifier)                                         \
    class ZEVO_EXPORT Interface##_extension                                                      \
        : public ::ruv::dm::foundation::extension::Extension_routine_control,                    \
          public ::ruv::dm::foundation::extension::Extension_service_callback<proxy::Interface##Proxy> { \
        ZEVO_SERVICE_EXTENSION_STATE(Interface, UdsIdentifier)                                   \
        /* Start has no output: a routine start answers with an empty positive response. */    \
        ::ruv::dm::types::UDSResponseCodeType start(std::vector<std::uint8_t>& request,          \
                                                    const ::ruv::dm::foundation::extension::Meta_info& meta_info, \
                                                    std::vector<std::uint8_t>& /*response*/) override { \
            return ::ruv::dm::foundation::extension::job_flow::start<Interface>(proxy_, cancel_requested_, \
                                                                                request, meta_info); \
        }                                                                                        \
        ::ruv::dm::types::UDSResponseCodeType request_results(                                   \
            std::vector<std::uint8_t>& request, const ::ruv::dm::foundation::extension::Meta_info& meta_info, \
            std::vector<std::uint8_t>& response) override {                                     \
            return ::ruv::dm::foundation::extension::job_flow::request_results<Interface>(       \
                proxy_, cancel_requested_, request, meta_info, response);                       \
        }                                                                                        \
        ZEVO_SERVICE_EXTENSION_CANCEL                                                            \
    };

/// The destructor: the stored Cancel future goes first; the search and then the proxy go with the
/// Extension_service_callback base. Waits for nothing and does not detach.
#define ZEVO_DEFINE_SERVICE_EXTENSION(Interface) \
    Interface##_extension::~Interface##_extension() { delete cancel_result_; }
