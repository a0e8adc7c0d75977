#include "sim/held_calls.h"

#include <utility>

namespace zevo::sim {

std::uint64_t Held_calls::add(std::uint16_t identifier, Method method, ruv::com::local::Reply reply,
                              bool until_cancel) {
    std::list<Call> answered;  // calls the runtime ended meanwhile (timeout, withdrawal): released unlocked
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto call = calls_.begin(); call != calls_.end();) {
        const auto next = std::next(call);
        if (!call->reply.outstanding()) answered.splice(answered.end(), calls_, call);
        call = next;
    }
    const std::uint64_t id = next_id_++;
    calls_.push_back(Call{id, identifier, method, std::move(reply), until_cancel});
    added_.notify_all();
    return id;
}

std::optional<ruv::com::local::Reply> Held_calls::take(std::uint64_t id) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto call = calls_.begin(); call != calls_.end(); ++call) {
        if (call->id != id) continue;
        ruv::com::local::Reply reply = std::move(call->reply);
        calls_.erase(call);
        return reply;
    }
    return std::nullopt;
}

std::vector<Held_calls::Call> Held_calls::take_until_cancel(std::uint16_t identifier) {
    std::vector<Call> taken;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto call = calls_.begin(); call != calls_.end();) {
        if (call->until_cancel && call->identifier == identifier) {
            taken.push_back(std::move(*call));
            call = calls_.erase(call);
        } else {
            ++call;
        }
    }
    return taken;
}

bool Held_calls::holds(std::uint16_t identifier, Method method) const {
    for (const Call& call : calls_) {
        if (call.identifier == identifier && call.method == method && call.reply.outstanding()) return true;
    }
    return false;
}

bool Held_calls::wait_for(std::uint16_t identifier, Method method, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return added_.wait_for(lock, timeout, [&] { return holds(identifier, method); });
}

void Held_calls::clear() noexcept {
    std::list<Call> dropped;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        dropped.swap(calls_);
    }
}

}  // namespace zevo::sim
