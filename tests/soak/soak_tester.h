#pragma once
// One DoIP tester of the soak: a TCP connection to zevo-dm serve with routing activated, which
// sends one request at a time and follows its frames (acknowledge, 0x78, final answer, alive
// checks) until the answer sequence ends, each wait bounded by the sequence's deadline. Every
// connection gets a new id, so that a tester that reconnects counts as another one. One thread
// per object; connection errors are returned, not thrown.

#include <atomic>
#include <memory>
#include <string>

#include "host/doip/tester/doip_link.h"
#include "tests/soak/soak_referee.h"

namespace zevo::soak {

struct Tester_address {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;
    std::uint16_t entity = 0x0010;  ///< the entity's logical address
};

class Soak_tester {
public:
    Soak_tester(Tester_address where, std::uint16_t source, Soak_referee& referee, Sequence_limits limits);

    /// A new connection with routing activated; empty, or what went wrong.
    std::string connect();
    bool connected() const { return link_ != nullptr; }
    /// Sends `request` and follows it to the end of its sequence (connecting first when needed);
    /// `close_after_acknowledge` closes the connection as soon as the acknowledge came (the
    /// request is exempt), `must_be_general_reject` tells the judge that only 7F xx 10 will do.
    /// Returns the outcome; after a loss or a violation the connection is dropped.
    Outcome exchange(const Bytes& request, bool close_after_acknowledge = false, bool must_be_general_reject = false);
    void disconnect() { link_.reset(); }

private:
    std::string connect_once();
    /// Follows the frames of `sequence` until it ends.
    void follow(Answer_sequence& sequence, bool close_after_acknowledge);

    Tester_address where_;
    std::uint16_t source_;
    Soak_referee& referee_;
    Sequence_limits limits_;
    std::unique_ptr<doip::Tcp_link> link_;
    int connection_ = 0;
    static std::atomic<int> next_connection_;
};

}  // namespace zevo::soak
