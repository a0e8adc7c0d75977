#include "kel/com/runtime/method_call.h"

#include <atomic>
#include <utility>

namespace kel::com::runtime {

Call_entry::~Call_entry() = default;

Method_call::Method_call(std::uint64_t call_id, std::weak_ptr<const Call_entry> entry) noexcept
    : id_(call_id), entry_(std::move(entry)) {}

// Only the weak link goes: the binding's entry, and with it the call, ends on its own terms.
Method_call::~Method_call() = default;

bool Method_call::outstanding() const noexcept {
    const std::shared_ptr<const Call_entry> entry = entry_.lock();
    return entry != nullptr && entry->outstanding();
}

std::uint64_t next_call_id() noexcept {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace kel::com::runtime
