#pragma once
// A search of Proxy_impl started for a test and stopped when the test is done with it, and a
// handler that keeps every list it is given. Interfaces here are test interfaces with a name of
// their own, so that each test has its own services in the process registry. The search runs as
// in production: subscription callback on a runtime thread, handler on the platform pool.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "proxy/proxy_impl.h"
#include "ruv/com/log/generic_logger.h"
#include "ruv/com/local/provider_registry.h"
#include "tests/discovery/discovery_sync.h"

namespace zevo::test {

/// A service interface as Proxy_impl needs it: nothing but its name.
template <const char* Name>
struct Test_interface {
    static constexpr const char* name = Name;
};

/// One list as a handler received it, and where.
struct Handled_list {
    Service_records records;
    std::thread::id thread;
    bool on_runtime_thread = false;
};

/// Keeps each list handed to its handler, in order; the handler may run on any thread.
class Handler_inbox {
public:
    using Handle_type = ruv::com::cpp_binding::proxy::Proxy_handle;

    std::function<void(std::vector<Handle_type>)> handler() {
        return [state = state_](std::vector<Handle_type> handles) {
            Handled_list list;
            for (const Handle_type& handle : handles) {
                list.records.push_back(handle.service_handle().record().get());
            }
            list.thread = std::this_thread::get_id();
            list.on_runtime_thread = ruv::com::local::Provider_registry::process().runtime()->dispatcher().runs_on_worker();
            const std::lock_guard<std::mutex> lock(state->mutex);
            state->lists.push_back(std::move(list));
            state->arrived.notify_all();
        };
    }

    /// The next list handled, oldest first; nothing when none comes within `bound`.
    std::optional<Handled_list> next(std::chrono::milliseconds bound = discovery_bound) {
        std::unique_lock<std::mutex> lock(state_->mutex);
        if (!state_->arrived.wait_for(lock, bound, [this] { return !state_->lists.empty(); })) {
            return std::nullopt;
        }
        Handled_list list = std::move(state_->lists.front());
        state_->lists.pop_front();
        return list;
    }

    std::size_t waiting() const {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        return state_->lists.size();
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable arrived;
        std::deque<Handled_list> lists;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Proxy_impl<Interface>::start_find_service on construction; stop_find_service on a copy of the
/// handle when asked and, if nobody asked, on destruction. `logger` must outlive the search.
template <class Interface>
class Running_search {
public:
    using Search = ruv::com::cpp_binding::proxy::Proxy_impl<Interface>;

    Running_search(typename Search::Handler handler, ruv::com::log::Generic_logger& logger,
                   const std::string& instance = "1")
        : logger_(logger),
          handle_(Search::start_find_service(std::move(handler), kel::com::runtime::Instance_id{instance}, logger)) {}

    ~Running_search() {
        if (!stopped_) {
            stop();
        }
    }

    Running_search(const Running_search&) = delete;
    Running_search& operator=(const Running_search&) = delete;

    void stop() {
        stopped_ = true;
        Search::stop_find_service(handle_, logger_);
    }

    ruv::com::cpp_binding::proxy::Find_service_handle& handle() { return handle_; }
    ruv::com::Strand& strand() { return *handle_.strand; }

private:
    ruv::com::log::Generic_logger& logger_;
    ruv::com::cpp_binding::proxy::Find_service_handle handle_;
    bool stopped_ = false;
};

/// A gate that threads wait at until the test opens it; every wait is bounded.
class Gate {
public:
    void open() {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        opened_.notify_all();
    }

    /// True when the gate opened within `bound`.
    bool pass(std::chrono::milliseconds bound = discovery_bound) {
        std::unique_lock<std::mutex> lock(mutex_);
        return opened_.wait_for(lock, bound, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
};

}  // namespace zevo::test
