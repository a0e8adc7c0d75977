#pragma once
// start and request_results of a routine's extension: one RoutineControl request as one call of
// Start or RequestResults, waited for on the host's calling thread until the answer or a cancel.
// Templates over `Interface` (Start::Signature, RequestResults::Output, UDSServiceFailed) and any proxy face.

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <vector>

#include "bindings/job_flow.h"
#include "bindings/uds_record.h"
#include "extension/deserialize.h"
#include "extension/meta_info.h"
#include "extension/uds_response_code.h"
#include "ruv/com/infrastructure_exception.h"

namespace ruv::dm::foundation::extension::job_flow {

/// What Start gets: its own copy of meta_info, then the arguments decoded from the request.
template <class Signature>
struct Start_input;

template <class Result, class... Arguments>
struct Start_input<Result(const Meta_info&, Arguments...)> {
    Meta_info meta_info;
    std::tuple<std::decay_t<Arguments>...> arguments;
};

/// The proxy as it stands at the call. Discovery may have taken it away since the job's start;
/// a vanished service is refused as the proxy refuses an unavailable one.
template <class Proxy>
Proxy& current_proxy(Proxy* const& proxy) {
    if (proxy == nullptr) {
        throw ruv::com::Service_not_available_exception();
    }
    return *proxy;
}

/// The frame of both routine jobs. `job` gets the copied request and makes the call; failures
/// fold into 0x13 for a short request, the code that `failure_code` selects from the service's
/// UDSServiceFailed, and 0x10 for everything else. Only failing to copy the request throws.
template <class Failure, class Proxy, class Job>
types::UDSResponseCodeType run_routine_job(Proxy* const& proxy, std::atomic<bool>& cancel_requested,
                                           const std::vector<std::uint8_t>& request, const Meta_info& meta_info,
                                           types::UDSResponseCodeType Failure::*failure_code, Job&& job) {
    forget_stale_cancel(cancel_requested);
    if (!has_proxy(proxy)) {
        return types::general_reject;  // before the request is looked at: short requests get 0x10 too
    }
    Deserialize parameters(request, meta_info);
    try {
        job(parameters);
        return 0;
    } catch (const std::out_of_range&) {
        return types::incorrect_message_length;
    } catch (const Failure& failure) {
        return failure.*failure_code;
    } catch (...) {
        return types::general_reject;
    }
}

/// Decodes Start's arguments from the request (too short: 0x13, and no call is made), calls
/// Start and waits. Writes no response: a routine start has an empty positive response. A
/// failed Start answers with the second code of the service's error, start_response_code.
template <class Interface, class Proxy>
types::UDSResponseCodeType start(Proxy* const& proxy, std::atomic<bool>& cancel_requested,
                                 const std::vector<std::uint8_t>& request, const Meta_info& meta_info) {
    using Failure = typename Interface::UDSServiceFailed;
    return run_routine_job<Failure>(
        proxy, cancel_requested, request, meta_info, &Failure::start_response_code, [&](Deserialize& parameters) {
            Start_input<typename Interface::Start::Signature> input{parameters.meta_info(), {}};
            uds_record::read_arguments(parameters, input.arguments);
            // The proxy is read again for the call, which is made before the guard is let go.
            kel::com::Future<void> answer = use_proxy(proxy, [&](Proxy* current) {
                Proxy& service = current_proxy(current);
                auto call = [&](const auto&... argument) { return (*service.Start.impl)(input.meta_info, argument...); };
                return std::apply(call, input.arguments);
            });
            await_completion(std::move(answer), cancel_requested);
        });
}

/// Calls RequestResults with a copy of meta_info and appends its Output to `response`. The
/// request bytes are copied but never read, so any request, also an empty one, is passed on.
/// A failed call answers with the first code of the service's error, response_code.
template <class Interface, class Proxy>
types::UDSResponseCodeType request_results(Proxy* const& proxy, std::atomic<bool>& cancel_requested,
                                           const std::vector<std::uint8_t>& request, const Meta_info& meta_info,
                                           std::vector<std::uint8_t>& response) {
    using Failure = typename Interface::UDSServiceFailed;
    return run_routine_job<Failure>(
        proxy, cancel_requested, request, meta_info, &Failure::response_code, [&](const Deserialize& parameters) {
            const Meta_info input = parameters.meta_info();
            auto answer = use_proxy(
                proxy, [&](Proxy* current) { return (*current_proxy(current).RequestResults.impl)(input); });
            append_answer(std::move(answer), cancel_requested, response);
        });
}

}  // namespace ruv::dm::foundation::extension::job_flow
