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
types::UDSResponseCodeType read(Proxy* const& proxy, std::atomic<bool>& cancel_requested, const Meta_info& meta_info,
                                std::vector<std::uint8_t>& response) {
    forget_stale_cancel(cancel_requested);
    try {
        // The proxy is read once; the call is made on it before the guard is let go.
        kel::com::Future<typename Interface::Read::Output> answer;
        const bool attached = use_proxy(proxy, [&](Proxy* current) {
            if (current == nullptr) {
                return false;
            }
            answer = (*current->Read.impl)(meta_info);
            return true;
        });
        if (!attached) {
            return types::general_reject;
        }
        append_answer(std::move(answer), cancel_requested, response);
        return 0;
    } catch (const typename Interface::UDSServiceFailed& failure) {
        return failure.response_code;
    } catch (...) {
        return types::general_reject;
    }
}

}  // namespace ruv::dm::foundation::extension::job_flow
