#include "allocation_log.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool recording = false;
thread_local zevo::test::Allocation_log recorded;
// Where let_escape puts what it is given; volatile, so that the store is not left out.
const void* volatile escaped = nullptr;

void* allocate(std::size_t size) {
    if (recording) {
        ++recorded.allocations;
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void release(void* memory) noexcept {
    if (memory != nullptr && recording) {
        if (recorded.deallocations < recorded.released.size()) {
            recorded.released[recorded.deallocations] = memory;
        }
        ++recorded.deallocations;
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

Allocation_scope::Allocation_scope() {
    recorded = {};
    recording = true;
}

Allocation_scope::~Allocation_scope() { recording = false; }

Allocation_log Allocation_scope::log() const { return recorded; }

void let_escape(const void* object) { escaped = object; }

}  // namespace zevo::test
