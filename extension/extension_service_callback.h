#pragma once
// The half of every service extension that holds the connection to its remote service: it starts
// the search when the host attaches, holds the current proxy (null while no service is known)
// and stops the search's flow on detach. start_find_service and detach run on host threads; the
// discovery callback runs on the search's strand, on a pool thread, one call at a time. Nothing
// here reports a failure: a proxy_ that stays null is how failures show (jobs answer 0x10).

#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "ara/com/logger.h"
#include "extension/proxy_guard.h"
#include "kel/com/runtime/instance_id.h"
#include "proxy/find_service_handle.h"
#include "proxy/proxy_impl.h"
#include "trace/find_service_events.h"

namespace ruv::dm::foundation::extension {

template <class Proxy>
class Extension_service_callback {
public:
    using Interface = typename Proxy::Interface_type;
    using Handle_type = typename ruv::com::cpp_binding::proxy::Proxy_impl<Interface>::Handle_type;

    Extension_service_callback() noexcept = default;
    Extension_service_callback(const Extension_service_callback&) = delete;
    Extension_service_callback& operator=(const Extension_service_callback&) = delete;

    /// Drops the search's references (strand, then subscription), then deletes the proxy.
    /// Does not stop the search and waits for nothing: the host detaches first.
    ~Extension_service_callback() {
        delete find_service_handle_;
        delete proxy_;
    }

    /// Starts the search for the service under `instance`. A handle from an earlier call is
    /// replaced without a stop wait. Only an allocation failure while copying the instance
    /// leaves; everything else is swallowed and the extension goes on with what it had.
    void start_find_service(const std::string& instance) {
        const kel::com::runtime::Instance_id searched{std::string(instance)};
        try {
            // The closure holds the raw this: detach before destruction ends every call of it.
            std::function<void(std::vector<Handle_type>)> callback = [this](std::vector<Handle_type> handles) {
                on_services_found(std::move(handles));
            };
            ruv::com::log::Generic_logger& logger = ara::com::logger();
            const ruv::com::cpp_binding::proxy::Find_service_handle handle =
                ruv::com::cpp_binding::proxy::Proxy_impl<Interface>::start_find_service(std::move(callback), searched,
                                                                                       logger);
            ruv::com::log::trace_find_service_start(*logger.backend, Interface::name, searched, handle.id);
            auto* const kept = new ruv::com::cpp_binding::proxy::Find_service_handle(handle);
            delete std::exchange(find_service_handle_, kept);
        } catch (...) {
            // The extension stays as it was: without a search, or with the earlier one.
        }
    }

    /// Closes the search's strand, letting a running callback finish: no callback runs after
    /// this returns (unless called on the strand itself). The proxy stays as it is, and so
    /// does find_service_handle_ with the subscription. Throws nothing.
    void detach() noexcept {
        if (find_service_handle_ == nullptr) {
            return;
        }
        try {
            ruv::com::cpp_binding::proxy::Find_service_handle copy = *find_service_handle_;
            ruv::com::cpp_binding::proxy::Proxy_impl<Interface>::stop_find_service(std::move(copy),
                                                                                  ara::com::logger());
        } catch (...) {
            // detach has no failure that the host can see.
        }
    }

protected:
    /// The discovery callback: the present proxy always goes first, so that a list with the
    /// same service still yields a new proxy; then one is built from the first handle, if any.
    void on_services_found(std::vector<Handle_type> found) {
        std::vector<Handle_type> handles = std::move(found);
        delete swap_proxy(proxy_, static_cast<Proxy*>(nullptr));
        if (handles.empty()) {
            return;
        }
        try {
            auto* const fresh = new Proxy(handles.front());
            delete swap_proxy(proxy_, fresh);
        } catch (...) {
            // proxy_ stays null until the next non-empty list.
        }
    }

    /// Owned; the attached service, null while none is known. Swapped by the discovery callback
    /// and read by jobs, both under proxy_guard<Proxy>() (see proxy_guard.h).
    Proxy* proxy_ = nullptr;
    ruv::com::cpp_binding::proxy::Find_service_handle* find_service_handle_ = nullptr;  ///< owned
};

}  // namespace ruv::dm::foundation::extension
