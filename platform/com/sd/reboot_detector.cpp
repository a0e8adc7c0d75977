#include "com/sd/reboot_detector.h"

namespace ruv::com::someip_binding::sd {

bool Reboot_detector::rebooted(const Ipv4_address& peer, bool by_multicast, bool reboot_flag,
                               std::uint16_t session_id) {
    const auto key = std::make_tuple(peer, by_multicast);
    const auto found = last_.find(key);
    const Last now{reboot_flag, session_id};
    if (found == last_.end()) {
        last_.emplace(key, now);
        return false;  // the first message of a peer on a relation tells nothing
    }
    const Last before = found->second;
    found->second = now;
    const bool restarted =
        (!before.reboot_flag && reboot_flag) || (before.reboot_flag && reboot_flag && session_id <= before.session_id);
    if (restarted) {
        // The session ids of the two relations stay apart; only the restart is shared.
        last_.erase(std::make_tuple(peer, !by_multicast));
    }
    return restarted;
}

}  // namespace ruv::com::someip_binding::sd
