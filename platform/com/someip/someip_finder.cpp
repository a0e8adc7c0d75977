#include "com/someip/someip_finder.h"

#include <stdexcept>
#include <thread>

#include <asio/post.hpp>

#include "com/runtime/runtime_log.h"
#include "kel/com/runtime/instance_id.h"

namespace ruv::com::someip_binding {

/// One subscriber: its callback, and whether a thread runs it now. The handle ends it.
struct Someip_finder::Subscription {
    Callback callback;
    std::mutex mutex;
    std::condition_variable idle;
    bool active = true;                ///< guarded by mutex
    std::thread::id running;           ///< guarded by mutex; the thread in the callback, if any

    void call(std::vector<kel::com::runtime::Service_handle> services) {
        {
            std::unique_lock<std::mutex> lock(mutex);
            if (!active) return;
            running = std::this_thread::get_id();
        }
        try {
            static_cast<void>(callback(std::move(services)));
        } catch (...) {
            runtime::detail::log_current_exception("A SOME/IP discovery callback");
        }
        std::lock_guard<std::mutex> lock(mutex);
        running = std::thread::id();
        idle.notify_all();
    }

    void end() {
        std::unique_lock<std::mutex> lock(mutex);
        active = false;
        const std::thread::id self = std::this_thread::get_id();
        idle.wait(lock, [this, self] { return running == std::thread::id() || running == self; });
    }
};

namespace {

class Someip_subscription_handle final : public kel::com::runtime::Service_finder::Subscription_handle {
public:
    Someip_subscription_handle(std::weak_ptr<Someip_finder> finder,
                               std::shared_ptr<Someip_finder::Subscription> subscription) noexcept
        : finder_(std::move(finder)), subscription_(std::move(subscription)) {}
    ~Someip_subscription_handle() override { subscription_->end(); }

private:
    std::weak_ptr<Someip_finder> finder_;
    std::shared_ptr<Someip_finder::Subscription> subscription_;
};

}  // namespace

Someip_finder::Someip_finder(Io_thread& io, const Manifest& manifest, std::shared_ptr<Client> client,
                             std::shared_ptr<runtime::Runtime> runtime) noexcept
    : io_(io),
      manifest_(manifest), client_(std::move(client)), runtime_(std::move(runtime)) {}

Someip_finder::~Someip_finder() = default;

std::vector<kel::com::runtime::Service_handle> Someip_finder::find_services(
    const std::string& service, const kel::com::runtime::Instance_id& instance) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = known_.find(Name_key{service, instance.to_string()});
    if (found == known_.end()) return {};
    return {kel::com::runtime::Service_handle{found->second.entry}};
}

std::shared_ptr<kel::com::runtime::Service_finder::Subscription_handle> Someip_finder::subscribe(
    Callback callback, std::string service, const kel::com::runtime::Instance_id& instance) {
    if (!callback) {
        throw std::invalid_argument("Service_finder::subscribe: empty callback");
    }
    auto subscription = std::make_shared<Subscription>();
    subscription->callback = std::move(callback);
    const Name_key names{std::move(service), instance.to_string()};
    {
        std::lock_guard<std::mutex> lock(mutex_);
        subscriptions_.emplace(names, subscription);
    }
    auto handle = std::make_shared<Someip_subscription_handle>(weak_from_this(), subscription);
    // The first list comes on the I/O thread, as every later one does, so that they keep order.
    asio::post(io_.context(), [self = shared_from_this(), subscription, names] {
        std::vector<kel::com::runtime::Service_handle> now;
        {
            std::lock_guard<std::mutex> lock(self->mutex_);
            const auto found = self->known_.find(names);
            if (found != self->known_.end()) now.emplace_back(found->second.entry);
        }
        subscription->call(std::move(now));
    });
    const Interface_deployment* interface = manifest_.interface_named(names.first);
    const Instance_deployment* deployed = manifest_.instance_of(names.first, names.second);
    if (interface != nullptr && deployed != nullptr && agent_ != nullptr) {
        agent_->find(interface->service_id, deployed->instance_id);
    }
    return handle;
}

bool Someip_finder::names_of(const sd::Service_key& key, Name_key& names) const {
    const Interface_deployment* interface = manifest_.interface_with_id(key.first);
    if (interface == nullptr) return false;
    const Instance_deployment* instance = manifest_.instance_with_id(interface->name, key.second);
    if (instance == nullptr) return false;
    names = Name_key{interface->name, instance->instance};
    return true;
}

void Someip_finder::found(const sd::Service_key& key, const sd::Found_service& service) {
    Name_key names;
    if (!names_of(key, names)) return;
    const Interface_deployment* interface = manifest_.interface_named(names.first);
    Remote_target target;
    target.service_id = key.first;
    target.major_version = service.major_version;
    target.method_ids = interface->method_ids;
    target.transport = interface->request_transport;
    const sd::Ipv4_endpoint& endpoint = target.transport == Transport::tcp ? service.tcp : service.udp;
    if (endpoint.port == 0) {
        // The offer lacks the transport this deployment sends requests by: take the other one.
        target.transport = target.transport == Transport::tcp ? Transport::udp : Transport::tcp;
    }
    const sd::Ipv4_endpoint& used = target.transport == Transport::tcp ? service.tcp : service.udp;
    target.address = asio::ip::address_v4(used.address);
    target.port = used.port;
    if (target.port == 0) return;
    drop(names);  // an offer on new endpoints replaces the old service
    auto binding = std::make_shared<Remote_service>(client_, runtime_, target);
    auto record = std::make_shared<runtime::Service_record>(binding, runtime::service_state::available);
    auto entry = std::make_shared<runtime::Service_entry>(names.first, names.second, record);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        known_[names] = Known{entry, binding};
    }
    tell(names);
}

void Someip_finder::lost(const sd::Service_key& key) {
    Name_key names;
    if (!names_of(key, names)) return;
    drop(names);
    tell(names);
}

// The state first, so that proxies refuse new calls; then the open calls (0xFF); then the TCP
// connection, when no other found service uses it.
void Someip_finder::drop(const Name_key& names) {
    Known gone;
    bool connection_shared = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = known_.find(names);
        if (found == known_.end()) return;
        gone = std::move(found->second);
        known_.erase(found);
        const Remote_target& target = gone.binding->target();
        for (const auto& entry : known_) {
            const Remote_target& other = entry.second.binding->target();
            connection_shared = connection_shared || (other.transport == Transport::tcp &&
                                                      other.address == target.address && other.port == target.port);
        }
    }
    gone.entry->service()->state.store(runtime::service_state::not_available, std::memory_order_release);
    gone.binding->withdraw();
    const Remote_target& target = gone.binding->target();
    if (target.transport == Transport::tcp && !connection_shared) {
        client_->close_connection(asio::ip::tcp::endpoint(target.address, target.port));
    }
}

void Someip_finder::tell(const Name_key& names) {
    std::vector<std::shared_ptr<Subscription>> told;
    std::vector<kel::com::runtime::Service_handle> services;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto found = known_.find(names);
        if (found != known_.end()) services.emplace_back(found->second.entry);
        auto range = subscriptions_.equal_range(names);
        for (auto it = range.first; it != range.second;) {
            bool active = false;
            {
                std::lock_guard<std::mutex> subscription_lock(it->second->mutex);
                active = it->second->active;
            }
            if (active) {
                told.push_back(it->second);
                ++it;
            } else {
                it = subscriptions_.erase(it);
            }
        }
    }
    for (const auto& subscription : told) {
        subscription->call(services);
    }
}

void Someip_finder::withdraw_all() {
    std::vector<Name_key> names;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& entry : known_) names.push_back(entry.first);
    }
    for (const Name_key& name : names) {
        drop(name);
        tell(name);
    }
}

}  // namespace ruv::com::someip_binding
