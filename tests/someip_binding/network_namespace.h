#pragma once
// Moves the test program into a network namespace of its own, with loopback up and able to
// carry multicast (SD's group), so that SD tests neither need nor disturb the host's network.
// Call before the program starts any thread: threads made later share the namespace.

#include <sched.h>

#include <cstdlib>

namespace zevo::test {

/// True when the program now runs in its own namespace; false without the rights for it.
inline bool enter_network_namespace() {
    static const bool entered = [] {
        if (::unshare(CLONE_NEWNET) != 0) {
            return false;
        }
        return std::system("ip link set lo up && ip link set lo multicast on && "
                           "ip route add 224.0.0.0/4 dev lo") == 0;
    }();
    return entered;
}

}  // namespace zevo::test
