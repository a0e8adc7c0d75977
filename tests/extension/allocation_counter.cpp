#include "allocation_counter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool counting = false;
thread_local zevo::test::Allocation_counts counted;

void* allocate(std::size_t size) {
    if (counting) {
        ++counted.allocations;
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void release(void* memory) noexcept {
    if (memory != nullptr && counting) {
        ++counted.deallocations;
    }
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace zevo::test {

Counting_scope::Counting_scope() {
    counted = {};
    counting = true;
}

Counting_scope::~Counting_scope() { counting = false; }

Allocation_counts Counting_scope::counts() const { return counted; }

}  // namespace zevo::test
