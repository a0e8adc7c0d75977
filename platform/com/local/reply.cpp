#include "ruv/com/local/reply.h"

#include <utility>

#include "com/local/reply_state.h"

namespace ruv::com::local {

namespace detail {

Reply_state::Reply_state(std::shared_ptr<Pending_call> call) noexcept : call_(std::move(call)) {}

Reply_state::~Reply_state() { call_->drop(); }

}  // namespace detail

Reply::Reply(std::shared_ptr<detail::Reply_state> state) noexcept : state_(std::move(state)) {}

Reply::~Reply() = default;

bool Reply::answer(std::uint8_t return_code, std::vector<std::uint8_t> response) {
    if (!outstanding()) {
        return false;  // spares the copy; the call's own end decides below all the same
    }
    kel::com::runtime::Serialized_payload payload;
    payload.buffer = std::make_shared<std::vector<std::uint8_t>>(std::move(response));
    payload.begin = payload.buffer->data();
    payload.end = payload.begin + payload.buffer->size();
    return state_->call().answer(return_code, std::move(payload));
}

bool Reply::outstanding() const noexcept { return state_ != nullptr && state_->call().outstanding(); }

std::uint64_t Reply::call_id() const noexcept { return state_ != nullptr ? state_->call().id() : 0; }

}  // namespace ruv::com::local
