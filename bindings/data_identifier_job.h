#pragma once
// read of a data identifier's extension: one ReadDataByIdentifier as one call of the service's
// Read method, waited for on the host's calling thread until the answer or a cancel comes.
// `Interface` gives the types (Read::Output, UDSServiceFailed); `Proxy` is any proxy face.

#include <atomic>
#include <cstdint>
#include <vector>

#include "bindings/job_flow.h"
#include "extension/meta_info.h"
#include "extension/uds_response_code.h"

namespace ruv::dm::foundation::extension::job_flow {

/// 0 with the record appended behind what `response` held, 0 with `response` untouched when
/// cancelled, the service's own code for its UDSServiceFailed, 0x10 for every other failure.
/// Decodes nothing, so it never answers 0x13.
template <class Interface, class Proxy>
types::UDSResponseCodeType read(Proxy* proxy, std::atomic<bool>& cancel_requested, const Meta_info& meta_info,
                                std::vector<std::uint8_t>& response) {
    forget_stale_cancel(cancel_requested);
    if (proxy == nullptr) {
        return types::general_reject;
    }
    try {
        append_answer((*proxy->Read.impl)(meta_info), cancel_requested, response);
        return 0;
    } catch (const typename Interface::UDSServiceFailed& failure) {
        return failure.response_code;
    } catch (...) {
        return types::general_reject;
    }
}

}  // namespace ruv::dm::foundation::extension::job_flow
