#include "ruv/com/someip_binding/node.h"

#include <unistd.h>

#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "com/manifest/manifest_reader.h"
#include "com/sd/sd_agent.h"
#include "com/someip/client.h"
#include "com/someip/server.h"
#include "com/someip/someip_finder.h"
#include "ruv/com/runtime/service_entry.h"

namespace ruv::com::someip_binding {

struct Node::Parts {
    Parts(const std::string& path, Node_options options)
        : manifest(read_manifest(path)),
          runtime(options.runtime != nullptr ? std::move(options.runtime) : runtime::Runtime::process()),
          registry(options.registry != nullptr ? *options.registry : local::Provider_registry::process()) {}

    void start();
    void exported(const Instance_deployment& instance, std::vector<kel::com::runtime::Service_handle> services);

    const Manifest manifest;
    const std::shared_ptr<runtime::Runtime> runtime;
    local::Provider_registry& registry;
    Binding_log log;
    Io_thread io;
    std::shared_ptr<Client> client;
    std::shared_ptr<Server> server;
    std::shared_ptr<Someip_finder> finder;
    std::shared_ptr<sd::Sd_agent> agent;
    std::vector<local::Offer_watch> watches;

    std::mutex mutex;
    std::map<std::uint16_t, std::shared_ptr<runtime::Service_record>> serving;  ///< guarded by mutex: by service id
    bool stopped = false;                                                         ///< guarded by mutex
};

void Node::Parts::start() {
    const asio::ip::address_v4 unicast(manifest.unicast);
    // One client id per process: the low bits of its id, never 0.
    const auto client_id = static_cast<std::uint16_t>((static_cast<unsigned>(::getpid()) & 0xFFFEU) | 1U);
    client = std::make_shared<Client>(io, runtime, unicast, client_id, manifest.request_timeout, log);
    server = std::make_shared<Server>(io, unicast, log);
    finder = std::make_shared<Someip_finder>(io, manifest, client, runtime);
    sd::Agent_callbacks callbacks;
    const std::weak_ptr<Someip_finder> weak_finder = finder;
    const std::weak_ptr<Client> weak_client = client;
    callbacks.found = [weak_finder](const sd::Service_key& key, const sd::Found_service& service) {
        if (const auto found = weak_finder.lock()) found->found(key, service);
    };
    callbacks.lost = [weak_finder](const sd::Service_key& key) {
        if (const auto found = weak_finder.lock()) found->lost(key);
    };
    callbacks.rebooted = [weak_client](const Ipv4_address& peer) {
        if (const auto found = weak_client.lock()) found->close_connections_to(asio::ip::address_v4(peer));
    };
    agent = std::make_shared<sd::Sd_agent>(io, manifest, log, std::move(callbacks));
    finder->set_agent(agent);
    client->start();
    agent->start();
    for (const Instance_deployment& instance : manifest.instances) {
        if (instance.udp_port == 0 && instance.tcp_port == 0) {
            continue;  // served elsewhere
        }
        if (instance.udp_port != 0) server->listen(Transport::udp, instance.udp_port);
        if (instance.tcp_port != 0) server->listen(Transport::tcp, instance.tcp_port);
        watches.push_back(registry.watch(instance.interface_name, instance.instance,
                                         [this, &instance](std::vector<kel::com::runtime::Service_handle> services) {
                                             exported(instance, std::move(services));
                                         }));
    }
}

// A local offer under a deployed instance is served and offered on the wire; its withdrawal
// removes it from both. Runs on a runtime thread, one notification at a time per registry.
void Node::Parts::exported(const Instance_deployment& instance, std::vector<kel::com::runtime::Service_handle> services) {
    const Interface_deployment& interface = *manifest.interface_named(instance.interface_name);
    std::shared_ptr<runtime::Service_record> record;
    if (!services.empty()) {
        if (const runtime::Service_entry* entry = runtime::Service_entry::of(services.front())) {
            record = entry->service();
        }
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (stopped) return;
        const auto found = serving.find(interface.service_id);
        const std::shared_ptr<runtime::Service_record> before = found == serving.end() ? nullptr : found->second;
        if (before == record) return;
        if (record == nullptr) serving.erase(interface.service_id);
        else serving[interface.service_id] = record;
    }
    server->remove(interface.service_id);
    if (record == nullptr) {
        agent->stop_offer(interface.service_id, instance.instance_id);
        return;
    }
    Export service;
    service.served = Served_interface{interface.service_id, interface.major_version, {}};
    for (std::uint16_t id : interface.method_ids) {
        if (id != 0) service.served.method_ids.push_back(id);
    }
    service.method_ids = interface.method_ids;
    service.record = record;
    sd::Entry offer;
    offer.type = sd::entry_type::offer_service;
    offer.service_id = interface.service_id;
    offer.instance_id = instance.instance_id;
    offer.major_version = interface.major_version;
    offer.minor_version = interface.minor_version;
    offer.ttl = manifest.sd.ttl_seconds;
    const auto add_endpoint = [&](Transport transport, std::uint16_t port) {
        if (port == 0) return;
        server->add(transport, port, service);
        sd::Option option;
        option.type = sd::option_type::ipv4_endpoint;
        option.endpoint = sd::Ipv4_endpoint{manifest.unicast, transport == Transport::tcp ? sd::l4::tcp : sd::l4::udp, port};
        offer.options.push_back(option);
    };
    add_endpoint(Transport::udp, instance.udp_port);
    add_endpoint(Transport::tcp, instance.tcp_port);
    agent->offer(std::move(offer));
}

Node::Node(const std::string& manifest_path, Node_options options)
    : parts_(std::make_unique<Parts>(manifest_path, std::move(options))) {
    try {
        parts_->start();
    } catch (...) {
        stop();
        throw;
    }
}

Node::~Node() { stop(); }

std::shared_ptr<kel::com::runtime::Service_finder> Node::service_finder() const { return parts_->finder; }

void Node::stop() noexcept {
    Parts& parts = *parts_;
    {
        std::lock_guard<std::mutex> lock(parts.mutex);
        if (parts.stopped) return;
        parts.stopped = true;
    }
    for (local::Offer_watch& watch : parts.watches) watch.stop();
    if (parts.agent != nullptr) parts.agent->stop();
    if (parts.finder != nullptr) parts.finder->withdraw_all();
    if (parts.server != nullptr) parts.server->stop();
    if (parts.client != nullptr) parts.client->stop();
    parts.io.stop();  // runs what the stops above posted, then joins
}

Node* Node::process() {
    static const std::unique_ptr<Node> node = []() -> std::unique_ptr<Node> {
        const std::optional<std::string> path = manifest_path_from_environment();
        if (!path) return nullptr;
        return std::make_unique<Node>(*path);
    }();
    return node.get();
}

}  // namespace ruv::com::someip_binding
