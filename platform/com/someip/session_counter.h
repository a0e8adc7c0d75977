#pragma once
// The session id of one relation (a client's calls, SD by multicast, SD to one peer): 1, 2, ...
// 0xFFFF, then 1 again, never 0. It remembers whether it has wrapped, which ends the reboot flag
// of SD. Not thread-safe: its owner serialises the calls.

#include <cstdint>

namespace ruv::com::someip_binding {

class Session_counter {
public:
    /// The id for the next message.
    std::uint16_t next() noexcept {
        const std::uint16_t id = next_;
        if (next_ == 0xFFFF) {
            next_ = 1;
            wrapped_ = true;
        } else {
            ++next_;
        }
        return id;
    }

    /// True once the id 0xFFFF has been handed out.
    bool wrapped() const noexcept { return wrapped_; }

private:
    std::uint16_t next_ = 1;
    bool wrapped_ = false;
};

}  // namespace ruv::com::someip_binding
