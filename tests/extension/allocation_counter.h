#pragma once
// Counts the global allocations and deallocations of this test program, so that a test can show
// what an operation allocated and released. Counting runs only inside a Counting_scope.

#include <cstddef>

namespace zevo::test {

struct Allocation_counts {
    std::size_t allocations = 0;
    std::size_t deallocations = 0;
};

/// Counts the calling thread's allocations while alive; not reentrant.
class Counting_scope {
public:
    Counting_scope();
    ~Counting_scope();
    Counting_scope(const Counting_scope&) = delete;
    Counting_scope& operator=(const Counting_scope&) = delete;

    Allocation_counts counts() const;
};

}  // namespace zevo::test
