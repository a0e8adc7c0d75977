#pragma once
// Detects that an SD peer has restarted: per peer and per relation (multicast, unicast) it keeps
// the last reboot flag and session id, and sees a reboot when the flag goes from 0 to 1, or stays
// 1 while the session id does not grow. Pure; not thread-safe (the SD agent's I/O thread).

#include <cstdint>
#include <map>
#include <tuple>

#include "com/manifest/manifest.h"

namespace ruv::com::someip_binding::sd {

class Reboot_detector {
public:
    /// Records one SD message of `peer` and tells whether it shows a reboot since the last one.
    /// A restart shows on both relations; once one of them has shown it, the other relation's
    /// record of the peer is forgotten, so that its next message sets a new baseline instead of
    /// counting the same restart a second time.
    bool rebooted(const Ipv4_address& peer, bool by_multicast, bool reboot_flag, std::uint16_t session_id);

private:
    struct Last {
        bool reboot_flag = false;
        std::uint16_t session_id = 0;
    };
    std::map<std::tuple<Ipv4_address, bool>, Last> last_;
};

}  // namespace ruv::com::someip_binding::sd
