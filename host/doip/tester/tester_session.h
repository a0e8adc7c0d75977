#pragma once
// One tester conversation over an activated DoIP connection: sends a request, waits for its
// acknowledge and answer (following 7F xx 78 to the final one), answers the entity's alive
// checks, sends TesterPresent 3E 80 every 2 s when asked to, prints the exchange. One thread.

#include <chrono>
#include <deque>
#include <iosfwd>

#include "host/doip/tester/doip_link.h"
#include "host/doip/tester/tester_options.h"
#include "host/expectation.h"

namespace zevo::doip {

class Tester_session {
public:
    // `target` is the entity's logical address (physical requests).
    Tester_session(Tcp_link& link, const Tester_options& options, std::uint16_t target, std::ostream& out);

    // Routing activation; the response code, or -1 without an answer.
    int activate();
    // Sends one request line and prints the exchange; true when the answer is as expected.
    bool run(const host::Scripted_request& line);
    // Waits `duration`, keeping the session alive and answering alive checks meanwhile.
    void idle(std::chrono::milliseconds duration);

private:
    using Clock = std::chrono::steady_clock;
    enum class Sent { request, keep_alive };

    // The next frame for the tester, before `until`; handles alive checks and keep-alive on the way.
    std::optional<Received> next(Clock::time_point until);
    void send_diagnostic(const Bytes& uds, Sent what);

    Tcp_link& link_;
    const Tester_options& options_;
    std::uint16_t target_;
    std::ostream& out_;
    std::deque<Sent> unacknowledged_;  // acknowledges come in the order of the messages sent
    Clock::time_point next_keep_alive_;
};

}  // namespace zevo::doip
