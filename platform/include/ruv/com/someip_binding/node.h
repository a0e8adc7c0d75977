#pragma once
// The SOME/IP binding of this platform, one node per process: it reads the deployment manifest,
// serves over SOME/IP what the process's local providers offer under the manifest's instances
// with ports (so a provider is written once for both bindings), and finds remote services over
// SOME/IP-SD for the service finder. Made at start, stopped at the end; members thread-safe.

#include <memory>
#include <string>

#include "kel/com/runtime/service_finder.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/runtime.h"

namespace ruv::com::someip_binding {

struct Node_options {
    /// The registry whose offers are served over SOME/IP; null: Provider_registry::process().
    local::Provider_registry* registry = nullptr;
    /// The runtime whose threads run response handlers; null: Runtime::process().
    std::shared_ptr<runtime::Runtime> runtime;
};

class Node {
public:
    /// Reads the manifest at `manifest_path` and starts the node: I/O thread, sockets, SD. Throws
    /// std::runtime_error naming the manifest and the JSON path of what is wrong, or the socket
    /// that could not be opened.
    explicit Node(const std::string& manifest_path, Node_options options = {});
    /// stop().
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// Discovery over SOME/IP-SD: the services of the manifest's interfaces and instances.
    std::shared_ptr<kel::com::runtime::Service_finder> service_finder() const;

    /// Stops offering (StopOffer on the wire), ends open calls (0xFF), closes the sockets and
    /// joins the I/O thread. A second call does nothing. Not from a runtime thread.
    void stop() noexcept;

    /// The node of this process, made on first use when ZEVO_COM_MANIFEST names a manifest;
    /// null when it is unset. Throws what the constructor throws, on the first call.
    static Node* process();

    struct Parts;

private:
    std::unique_ptr<Parts> parts_;
};

}  // namespace ruv::com::someip_binding
