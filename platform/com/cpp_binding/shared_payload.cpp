#include "ruv/com/cpp_binding/shared_payload.h"

namespace ruv::com::cpp_binding {

std::shared_ptr<std::vector<std::uint8_t>> get_shared_payload(unsigned long size_hint) {
    auto buffer = std::make_shared<std::vector<std::uint8_t>>();
    buffer->reserve(size_hint);
    return buffer;
}

}  // namespace ruv::com::cpp_binding
