#include "host/uds_server/synchronous_tester.h"

#include <condition_variable>
#include <memory>
#include <mutex>

#include "host/hex_bytes.h"

namespace zevo::host {

Exchange Synchronous_tester::exchange(const std::vector<std::uint8_t>& request, bool functional) {
    // Shared with the server's threads, which may still hold the functions when this returns.
    struct Inbox {
        std::mutex mutex;
        std::condition_variable ended;
        Exchange exchange;
        bool done = false;
    };
    auto inbox = std::make_shared<Inbox>();
    server_.on_request(
        tester_, source_, functional, request,
        [inbox](std::vector<std::uint8_t> answer) {
            const std::lock_guard<std::mutex> lock(inbox->mutex);
            inbox->exchange.answers.push_back(std::move(answer));
            return true;
        },
        [inbox](const Request_end& end) {
            const std::lock_guard<std::mutex> lock(inbox->mutex);
            inbox->exchange.end = end;
            inbox->done = true;
            inbox->ended.notify_all();
        });
    // The server ends every request: a job returns or is cancelled (a signal cancels it).
    std::unique_lock<std::mutex> lock(inbox->mutex);
    inbox->ended.wait(lock, [&] { return inbox->done; });
    return std::move(inbox->exchange);
}

std::string describe_end(const Request_end& end) {
    switch (end.kind) {
        case Request_end::Kind::answered: return format_hex_bytes(end.answer);
        case Request_end::Kind::suppressed: return "(no response: suppressed)";
        case Request_end::Kind::functional: return "(no response: functional request)";
        case Request_end::Kind::cancelled: return "(cancelled)";
    }
    return "(unknown end)";
}

std::vector<std::string> describe_exchange(const Exchange& exchange) {
    std::vector<std::string> lines;
    const std::size_t before_final = exchange.end.kind == Request_end::Kind::answered && !exchange.answers.empty()
                                         ? exchange.answers.size() - 1
                                         : exchange.answers.size();
    for (std::size_t i = 0; i < before_final; ++i) lines.push_back("<- " + format_hex_bytes(exchange.answers[i]));
    lines.push_back("<- " + describe_end(exchange.end));
    return lines;
}

}  // namespace zevo::host
