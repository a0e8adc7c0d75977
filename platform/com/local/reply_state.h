#pragma once
// What the copies of one Reply share: the pending call they answer. When the last copy goes,
// the call is dropped unless it has ended already. Thread-safe as Pending_call is.

#include <memory>

#include "com/local/pending_call.h"

namespace ruv::com::local::detail {

class Reply_state {
public:
    /// `call` must not be null.
    explicit Reply_state(std::shared_ptr<Pending_call> call) noexcept;
    /// Drops the call if nobody answered it.
    ~Reply_state();
    Reply_state(const Reply_state&) = delete;
    Reply_state& operator=(const Reply_state&) = delete;

    Pending_call& call() const noexcept { return *call_; }

private:
    const std::shared_ptr<Pending_call> call_;
};

}  // namespace ruv::com::local::detail
