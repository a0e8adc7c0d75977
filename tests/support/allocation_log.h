#pragma once
// Replaces the global operator new and delete of a test program so that a test can see what an
// operation allocated and released, and in which order it released it. Only the calling
// thread's allocations inside an Allocation_scope are recorded; the log itself never allocates.

#include <array>
#include <cstddef>

namespace zevo::test {

struct Allocation_log {
    static constexpr std::size_t capacity = 32;

    std::size_t allocations = 0;
    std::size_t deallocations = 0;
    /// The first `capacity` released addresses, in the order they were released.
    std::array<const void*, capacity> released{};
};

/// Records the calling thread's allocations while alive; not reentrant.
class Allocation_scope {
public:
    Allocation_scope();
    ~Allocation_scope();
    Allocation_scope(const Allocation_scope&) = delete;
    Allocation_scope& operator=(const Allocation_scope&) = delete;

    Allocation_log log() const;
};

/// Hands `object` to code the compiler cannot see into. A new-expression whose result does not
/// escape the function may be optimised away together with its delete, and then there is
/// nothing to count; passing the result through here keeps the allocation.
void let_escape(const void* object);

}  // namespace zevo::test
