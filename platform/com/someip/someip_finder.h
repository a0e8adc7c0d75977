#pragma once
// The service finder of the SOME/IP binding: subscriptions by interface name and instance text,
// which it turns into SD Finds by the manifest's numbers, and the services SD finds, each as a
// Service_entry with its record (state 2) over a Remote_service. A lost service is withdrawn
// (state 0, open calls 0xFF) and leaves the lists. Subscribers are told on the I/O thread, one
// notification at a time; the handle's destructor waits for a callback running on another thread.

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "com/manifest/manifest.h"
#include "com/sd/found_services.h"
#include "com/sd/sd_agent.h"
#include "com/someip/client.h"
#include "com/someip/remote_service.h"
#include "kel/com/runtime/service_finder.h"
#include "kel/com/runtime/service_handle.h"
#include "ruv/com/runtime/service_entry.h"

namespace ruv::com::someip_binding {

class Someip_finder final : public kel::com::runtime::Service_finder,
                            public std::enable_shared_from_this<Someip_finder> {
public:
    Someip_finder(Io_thread& io, const Manifest& manifest, std::shared_ptr<Client> client,
                  std::shared_ptr<runtime::Runtime> runtime) noexcept;
    ~Someip_finder() override;

    /// Set once before SD starts.
    void set_agent(std::shared_ptr<sd::Sd_agent> agent) noexcept { agent_ = std::move(agent); }

    std::vector<kel::com::runtime::Service_handle> find_services(const std::string& service,
                                                                 const kel::com::runtime::Instance_id& instance) override;
    std::shared_ptr<Subscription_handle> subscribe(Callback callback, std::string service,
                                                   const kel::com::runtime::Instance_id& instance) override;

    /// SD's news, on the I/O thread.
    void found(const sd::Service_key& key, const sd::Found_service& service);
    void lost(const sd::Service_key& key);

    /// Withdraws every found service (the node stops).
    void withdraw_all();

    struct Subscription;

private:
    using Name_key = std::pair<std::string, std::string>;  ///< interface name, instance text
    struct Known {
        std::shared_ptr<runtime::Service_entry> entry;
        std::shared_ptr<Remote_service> binding;
    };

    /// The name and instance text of SD's service and instance id; false if not deployed.
    bool names_of(const sd::Service_key& key, Name_key& names) const;
    void tell(const Name_key& names);
    void drop(const Name_key& names);

    Io_thread& io_;
    const Manifest& manifest_;
    const std::shared_ptr<Client> client_;
    const std::shared_ptr<runtime::Runtime> runtime_;
    std::shared_ptr<sd::Sd_agent> agent_;

    std::mutex mutex_;
    std::map<Name_key, Known> known_;                                       ///< guarded by mutex_
    std::multimap<Name_key, std::shared_ptr<Subscription>> subscriptions_;  ///< guarded by mutex_
};

}  // namespace ruv::com::someip_binding
