#pragma once
// The ten extension classes as the discovery tests drive them: their discovery state in reach,
// and their jobs written once over the two faces, with what they answer when served by the
// sample providers. The jobs run on the calling thread.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "extension/meta_info.h"
#include "extension/served_extensions.h"
#include "ruv/com/strand.h"
#include "tests/bindings/record_samples.h"
#include "tests/discovery/sample_providers.h"
#include "tests/someip/service_methods.h"

namespace zevo::test {

namespace diag = talm::services::diag;

/// The ten extension classes, as a tuple to iterate over and as the list of typed tests.
using Extension_class_tuple =
    std::tuple<diag::d_2c55::DataIdentifier_ZevoZevovin_extension,
               diag::d_2c56::DataIdentifier_ZevoTrainingCounter_extension,
               diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory_extension,
               diag::d_2c60::DataIdentifier_ZevoKeyList_extension, diag::r_0648::RoutineService_ZevoDebug_extension,
               diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer_extension,
               diag::r_c00b::RoutineService_ZevoCheckVerificationHash_extension,
               diag::r_c00c::RoutineService_ZevoGetIdentityHash_extension,
               diag::r_c00d::RoutineService_ZevoGetPssHash_extension,
               diag::r_c00f::RoutineService_ZevoGetState_extension>;
using Extension_classes = methods::Rebind_t<testing::Types, Extension_class_tuple>;

/// Names each typed test after the interface of its class.
struct Extension_label {
    template <class Class>
    static std::string GetName(int) {
        return Class::interface_name;
    }
};

/// An extension class with its discovery state in reach: the members and the callback.
template <class Class>
struct Extension_probe : Class {
    using Class::find_service_handle_;
    using Class::on_services_found;
    using Class::proxy_;

    /// The strand of the running search; attach first.
    ruv::com::Strand& strand() const { return *find_service_handle_->strand; }
};

template <class Class>
using Interface_of = typename Class::Interface;

template <class Class>
inline constexpr bool is_routine_extension =
    std::is_base_of_v<ruv::dm::foundation::extension::Extension_routine_control, Class>;

inline const ruv::dm::foundation::extension::Meta_info& job_meta_info() {
    static const ruv::dm::foundation::extension::Meta_info meta_info{
        {"service_id", "0x31"}, {"identifier", "0x0000"}, {"tester_address", "0x0E80"}};
    return meta_info;
}

/// Long enough for the Start of every routine: one byte, or a 1-byte array and a 16-byte array.
inline std::vector<std::uint8_t> start_request() { return std::vector<std::uint8_t>(17, 0x5A); }

/// The UDS record the sample provider's Output gives.
template <class Class>
std::vector<std::uint8_t> sample_record() {
    return Record_sample<Interface_of<Class>>::bytes();
}

/// The job that brings back the service's record: read, or request_results of a routine.
template <class Class>
std::uint8_t results_job(Class& extension, std::vector<std::uint8_t>& response) {
    if constexpr (is_routine_extension<Class>) {
        std::vector<std::uint8_t> request;
        return extension.request_results(request, job_meta_info(), response);
    } else {
        return extension.read(job_meta_info(), response);
    }
}

/// Start of a routine; a data identifier has none, and reads instead.
template <class Class>
std::uint8_t start_job(Class& extension) {
    std::vector<std::uint8_t> response;
    if constexpr (is_routine_extension<Class>) {
        std::vector<std::uint8_t> request = start_request();
        return extension.start(request, job_meta_info(), response);
    } else {
        return extension.read(job_meta_info(), response);
    }
}

template <class Class>
std::uint8_t cancel_job(Class& extension) {
    return extension.cancel(job_meta_info());
}

}  // namespace zevo::test
