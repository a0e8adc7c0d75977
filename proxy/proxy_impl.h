#pragma once
// The static face of one service interface in the proxy runtime: starts and stops the search for
// its instances and hands every list of found services to a user handler, one at a time, on the
// search's own strand. start_find_service and stop_find_service run on the caller's (host)
// thread; the subscription callback on a runtime thread; the posted task on a pool thread.
// No object of it exists.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_finder.h"
#include "kel/com/runtime/service_handle.h"
#include "proxy/apply_callout.h"
#include "proxy/find_service_handle.h"
#include "proxy/proxy_handle.h"
#include "ruv/com/deadline_guard.h"
#include "ruv/com/log/generic_logger.h"
#include "ruv/com/runtime/component_singleton.h"
#include "ruv/com/strand.h"
#include "trace/find_service_events.h"

namespace ruv::com::cpp_binding::proxy {

/// The time in which a discovery handler is expected to return, in the unit of Deadline_guard
/// (milliseconds). Passing it only writes a warning.
inline constexpr unsigned long find_service_handler_limit = 500;

template <class Interface>
class Proxy_impl {
public:
    using Handle_type = Proxy_handle;
    using Handler = std::function<void(std::vector<Handle_type>)>;

    Proxy_impl() = delete;

    /// Subscribes to the services of this interface under `instance`; each notification is posted
    /// to a new strand of the platform's pool and handed to `handler` there. Throws what the
    /// platform throws (the subscription, the strand) and std::bad_alloc.
    static Find_service_handle start_find_service(Handler handler, const kel::com::runtime::Instance_id& instance,
                                                  log::Generic_logger& logger) {
        Handler user_handler = std::move(handler);
        kel::com::runtime::Instance_id searched = instance;
        std::shared_ptr<Strand> strand = make_strand();
        std::shared_ptr<kel::com::runtime::Service_finder> finder =
            runtime::Component_singleton::instance().get_service_finder();
        Subscription_callback callback{strand, std::move(user_handler), searched, logger};
        std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle> subscription =
            finder->subscribe(std::move(callback), std::string(Interface::name), searched);
        return make_find_service_handle(std::move(subscription), std::move(strand));
    }

    /// The record of a new search, numbered by a counter of this interface that starts at 0.
    static Find_service_handle make_find_service_handle(
        std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle>&& subscription,
        std::shared_ptr<Strand>&& strand) {
        static std::atomic<std::uint32_t> find_service_handle_id{0};
        const std::uint32_t id = find_service_handle_id.fetch_add(1, std::memory_order_seq_cst);
        return Find_service_handle{id, std::move(subscription), std::move(strand)};
    }

    /// Traces the stop, lets what the strand has queued run to its end and closes it; returns at
    /// once on the strand's own thread. The subscription lives on with the other copies of the
    /// handle. Throws std::system_error if the strand's lock fails.
    static void stop_find_service(Find_service_handle handle, log::Generic_logger& logger) {
        log::trace_find_service_stop(*logger.backend, Interface::name, handle.id);
        handle.strand->stop_wait();
        handle.subscription.reset();
        handle.strand.reset();
    }

private:
    /// The callback given to the service finder; runs on a runtime thread. Members in this
    /// order: the strand, the user handler, the instance, the logger.
    struct Subscription_callback {
        std::shared_ptr<Strand> strand;
        Handler handler;
        kel::com::runtime::Instance_id instance;
        log::Generic_logger& logger;

        bool operator()(std::vector<kel::com::runtime::Service_handle> services) const {
            strand->internal_post(Posted_task{handler, instance, logger, std::move(services)});
            return true;  // also when a closed strand dropped the task
        }
    };

    /// One notification on the strand: the handler, the instance, the logger and the list.
    struct Posted_task {
        Handler handler;
        kel::com::runtime::Instance_id instance;
        log::Generic_logger& logger;
        std::vector<kel::com::runtime::Service_handle> services;

        void operator()() const { serve(handler, instance, logger, services); }
    };

    static std::shared_ptr<Strand> make_strand() {
        static_thread_pool* const pool =
            runtime::Component_singleton::instance().get_thread_pool_factory()->get_thread_pool(0);
        return std::make_shared<Strand>(pool);
    }

    /// Traces the list, then runs the handler under the time limit and the exception guard.
    /// Destroys the exception reporter, the guard and the handles in this order, so that the
    /// limit measures the handler alone.
    static void serve(const Handler& handler, const kel::com::runtime::Instance_id& instance,
                      log::Generic_logger& logger, std::vector<kel::com::runtime::Service_handle> services) {
        const std::string service_name(Interface::name);
        const std::string instance_text = instance.to_string();
        log::trace_find_service_result(*logger.backend, service_name, instance_text, services);

        std::vector<Handle_type> handles;
        handles.reserve(services.size());
        for (const kel::com::runtime::Service_handle& service : services) {
            handles.emplace_back(service);
        }
        const kel::com::runtime::Instance_id* const searched = &instance;
        const Deadline_guard guard(find_service_handler_limit, [&logger, searched](unsigned long time) {
            log::trace_find_service_handler_performance(*logger.backend, Interface::name, searched->to_string(),
                                                        time);
        });
        const std::function<void()> on_exception = [&logger, searched] {
            log::trace_find_service_handler_exception(*logger.backend, Interface::name, searched->to_string());
        };
        apply_callout(handler, on_exception, std::move(handles));
    }
};

}  // namespace ruv::com::cpp_binding::proxy
