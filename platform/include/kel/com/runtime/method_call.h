#pragma once
// The runtime's record of one method call, handed to the caller inside the future that
// call_method returns. It refers to the binding's entry of the call without owning it, so the
// caller holding or dropping it never changes how the call ends. Thread-safe; throws nothing.

#include <cstdint>
#include <memory>

namespace kel::com::runtime {

/// What a binding keeps of one call while the call waits for its answer.
class Call_entry {
public:
    virtual ~Call_entry();
    /// True while the call has had no answer, time-out, withdrawal or drop. Any thread.
    virtual bool outstanding() const noexcept = 0;

protected:
    Call_entry() = default;
    Call_entry(const Call_entry&) = default;
    Call_entry& operator=(const Call_entry&) = default;
};

/// Destroying the last reference releases only this record: the call itself still ends as it
/// would have (its handler runs or is destroyed by the runtime), with nobody reading its result.
class Method_call {
public:
    Method_call(std::uint64_t call_id, std::weak_ptr<const Call_entry> entry) noexcept;
    Method_call(const Method_call&) = delete;
    Method_call& operator=(const Method_call&) = delete;
    ~Method_call();

    /// Process-wide number of the call, unique among the calls of all bindings.
    std::uint64_t id() const noexcept { return id_; }
    /// True while the runtime still waits for the call's answer.
    bool outstanding() const noexcept;

private:
    std::uint64_t id_;
    std::weak_ptr<const Call_entry> entry_;  ///< the binding owns the entry; never dereferenced unlocked
};

/// The next call number of the process, from 1 upward. Thread-safe.
std::uint64_t next_call_id() noexcept;

}  // namespace kel::com::runtime
