#pragma once
// The ten extension classes as the end-to-end tests drive them: attached straight to an offered
// service (no discovery), with each job's expected request, good answer, UDS record and error
// code. Test data and helpers, used on the test's thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "call_support.h"
#include "extension/served_extensions.h"
#include "proxy/proxy_handle.h"
#include "someip/service_payload.h"
#include "tests/bindings/record_samples.h"
#include "tests/catalogue/service_catalogue.h"
#include "tests/someip/argument_samples.h"

namespace zevo::test::calls {

namespace diag = talm::services::diag;

/// An extension class with its members in reach and a proxy attached without discovery.
template <class Class>
struct Attached : Class {
    using Class::cancel_requested_;
    using Class::cancel_result_;
    using Class::proxy_;
    using Interface = typename Class::Interface;
    using Proxy = std::remove_pointer_t<decltype(Attached::proxy_)>;

    /// The proxy as discovery would build it: from the offer's handle, on the platform's logger.
    void attach_to(const ruv::com::local::Offer& offer) {
        replace_proxy(new Proxy(ruv::com::cpp_binding::proxy::Proxy_handle(offer.handle())));
    }

    /// The proxy built on a port that writes to `logger`.
    void attach_traced(const ruv::com::local::Offer& offer, Test_logger& logger) {
        replace_proxy(new Proxy(new Traced_port(offer, logger)));
    }

    void replace_proxy(Proxy* fresh) { delete std::exchange(this->proxy_, fresh); }
};

/// The UDS bytes that decode into a Start argument: a byte is itself, a vector or an array its
/// elements.
inline void append_uds_bytes(Bytes& request, std::uint8_t value) { request.push_back(value); }
inline void append_uds_bytes(Bytes& request, const std::vector<std::uint8_t>& values) {
    request.insert(request.end(), values.begin(), values.end());
}
template <std::size_t N>
void append_uds_bytes(Bytes& request, const std::array<std::uint8_t, N>& values) {
    request.insert(request.end(), values.begin(), values.end());
}

/// The UDS request of a routine start that decodes into the arguments behind meta_info.
template <class Meta, class... Rest>
Bytes uds_request_of(const std::tuple<Meta, Rest...>& arguments) {
    Bytes request;
    std::apply([&request](const Meta&, const Rest&... rest) { (append_uds_bytes(request, rest), ...); }, arguments);
    return request;
}

/// The application error payload of every error test: response_code 0x22, start_response_code
/// 0x31. A data identifier's error reads the first byte only.
inline Bytes error_payload() { return {0x22, 0x31}; }

/// One job of an extension class, run through the extension's own virtual operation.
template <class Class>
struct Job_case {
    std::string name;
    std::uint16_t method_id = 0;
    Bytes uds_request;       ///< what the host passes (start decodes it, request_results ignores it)
    Bytes wire_request;      ///< the request payload that must reach the provider
    std::function<bool(const Bytes&)> carries_the_arguments;  ///< decodes a request payload
    Bytes good_payload;      ///< a response that holds the whole Output (empty for Start)
    Bytes record;            ///< the UDS bytes a good answer appends (none for Start)
    bool has_output = false;
    std::uint8_t error_code = 0;  ///< the job's answer to error_payload()
    std::function<std::uint8_t(Attached<Class>&, Bytes& request, Bytes& response)> run;

    std::uint8_t operator()(Attached<Class>& extension, Bytes& response) const {
        Bytes request = uds_request;
        const std::uint8_t result = run(extension, request, response);
        EXPECT_EQ(request, uds_request) << name << " changed its request";
        return result;
    }
};

/// What the arguments of `Method` must read as on the provider's side.
template <class Method>
std::function<bool(const Bytes&)> arguments_check() {
    return [](const Bytes& request) {
        return ruv::com::someip::serialization::deserialize_arguments<Method>(request) ==
               methods::Request_sample<Method>::arguments(host_meta_info());
    };
}

template <class Class, class Method>
Job_case<Class> job_case(std::string name, std::uint8_t error_code) {
    using Interface = typename Class::Interface;
    Job_case<Class> job;
    job.name = std::move(name);
    job.method_id = Method::method_id;
    job.wire_request = methods::Request_sample<Method>::bytes(host_meta_info_block());
    job.carries_the_arguments = arguments_check<Method>();
    job.error_code = error_code;
    if constexpr (std::is_same_v<Method, Results_method_of<Interface>>) {
        job.uds_request = {0x01, 0x02};
        job.has_output = true;
        job.good_payload = ruv::com::someip::serialization::response_payload(Record_sample<Interface>::output());
        job.record = Record_sample<Interface>::bytes();
    } else {
        job.uds_request = uds_request_of(methods::Request_sample<Method>::arguments(host_meta_info()));
    }
    return job;
}

/// read of a data identifier; start, then request_results, of a routine.
template <class Class>
std::vector<Job_case<Class>> jobs_of() {
    using Interface = typename Class::Interface;
    std::vector<Job_case<Class>> jobs;
    if constexpr (Expected<Interface>::routine) {
        auto start = job_case<Class, typename Interface::Start>("start", error_payload()[1]);
        start.run = [](Attached<Class>& extension, Bytes& request, Bytes& response) {
            return extension.start(request, host_meta_info(), response);
        };
        auto results = job_case<Class, typename Interface::RequestResults>("request_results", error_payload()[0]);
        results.run = [](Attached<Class>& extension, Bytes& request, Bytes& response) {
            return extension.request_results(request, host_meta_info(), response);
        };
        jobs.push_back(std::move(start));
        jobs.push_back(std::move(results));
    } else {
        auto read = job_case<Class, typename Interface::Read>("read", error_payload()[0]);
        read.run = [](Attached<Class>& extension, Bytes&, Bytes& response) {
            return extension.read(host_meta_info(), response);
        };
        jobs.push_back(std::move(read));
    }
    return jobs;
}

using Routine_classes = testing::Types<diag::r_0648::RoutineService_ZevoDebug_extension,
                                       diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension,
                                       diag::r_c00b::RoutineService_ZevoCheckVerificationHash_extension,
                                       diag::r_c00c::RoutineService_ZevoGetIdentityHash_extension,
                                       diag::r_c00d::RoutineService_ZevoGetPssHash_extension,
                                       diag::r_c00f::RoutineService_ZevoGetState_extension>;
using Extension_classes = testing::Types<diag::d_2c55::DataIdentifier_ZevoZevovin_extension,
                                         diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension,
                                         diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension,
                                         diag::d_2c60::DataIdentifier_ZevoKeyList_extension,
                                         diag::r_0648::RoutineService_ZevoDebug_extension,
                                         diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension,
                                         diag::r_c00b::RoutineService_ZevoCheckVerificationHash_extension,
                                         diag::r_c00c::RoutineService_ZevoGetIdentityHash_extension,
                                         diag::r_c00d::RoutineService_ZevoGetPssHash_extension,
                                         diag::r_c00f::RoutineService_ZevoGetState_extension>;

/// Names each typed test after the interface of its class.
struct Extension_label {
    template <class Class>
    static std::string GetName(int) {
        return Class::interface_name;
    }
};

}  // namespace zevo::test::calls
