#include "counted_payload.h"

#include <cstdint>
#include <memory>
#include <vector>

#include "ruv/com/cpp_binding/shared_payload.h"

namespace zevo::test::calls {
/// Buffers the thread has asked for; only this file sees it.
thread_local std::size_t taken = 0;

std::size_t payload_buffers_taken() { return taken; }

}  // namespace zevo::test::calls

namespace ruv::com::cpp_binding {

std::shared_ptr<std::vector<std::uint8_t>> get_shared_payload(unsigned long size_hint) {
    ++zevo::test::calls::taken;
    auto buffer = std::make_shared<std::vector<std::uint8_t>>();
    buffer->reserve(size_hint);
    return buffer;
}

}  // namespace ruv::com::cpp_binding
