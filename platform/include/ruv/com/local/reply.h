#pragma once
// The answer to one call that a local provider received: answer it once with a return code and
// the response bytes, on any thread, at any later time. Copies share the one answer. If the last
// copy goes unanswered, the call is dropped: its response handler is destroyed uncalled.

#include <cstdint>
#include <memory>
#include <vector>

namespace ruv::com::local {

namespace detail {
class Reply_state;
}  // namespace detail

class Reply {
public:
    /// Made by the local binding only; a Reply without state answers nothing.
    explicit Reply(std::shared_ptr<detail::Reply_state> state) noexcept;

    Reply(const Reply&) noexcept = default;
    Reply(Reply&&) noexcept = default;
    Reply& operator=(const Reply&) noexcept = default;
    Reply& operator=(Reply&&) noexcept = default;
    ~Reply();

    /// Hands the code (ruv/com/runtime/return_code.h: 0 success, 2 the service's application
    /// error, or any other byte) and the bytes to the caller's response handler, which runs on a
    /// runtime thread. True when this was the call's answer; false when the call had already
    /// ended (answered before, timed out, withdrawn, dropped): then nothing happens.
    /// Thread-safe. Throws std::bad_alloc: the call is then still outstanding, or, when the
    /// memory ran out for the delivery itself, ended with its handler destroyed uncalled.
    bool answer(std::uint8_t return_code, std::vector<std::uint8_t> response = {});

    /// True while the call waits for this answer.
    bool outstanding() const noexcept;

    /// The process-wide number of the call, as in its Method_call; 0 for a Reply without state.
    std::uint64_t call_id() const noexcept;

private:
    std::shared_ptr<detail::Reply_state> state_;
};

}  // namespace ruv::com::local
