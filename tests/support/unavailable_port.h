#pragma once
// A port whose service is known but not available (state 0): every method called through it is
// refused synchronously, and nothing is ever sent. For tests that need a real proxy without a
// provider. Header-only; any thread.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/runtime/service_binding.h"
#include "ruv/com/runtime/service_record.h"

namespace zevo::test {

/// A binding that must never carry a call: reaching it is a defect of the refusing path.
class Unreachable_binding : public ruv::com::runtime::Service_binding {
public:
    std::shared_ptr<kel::com::runtime::Method_call> call(std::uint16_t, kel::com::runtime::Serialized_payload,
                                                         Response_handler) override {
        throw std::logic_error("a call reached a service that is not available");
    }
};

class Unavailable_port : public ruv::com::cpp_binding::proxy::Rport {
public:
    explicit Unavailable_port(std::string service_name, std::uint8_t state = 0)
        : Rport({std::move(service_name), "1"},
                std::make_shared<ruv::com::runtime::Service_record>(std::make_shared<Unreachable_binding>(), state)) {}
};

/// A new port, owned by the caller (a proxy takes it over).
inline ruv::com::cpp_binding::proxy::Rport* make_unavailable_port(std::string service_name = "unavailable") {
    return new Unavailable_port(std::move(service_name));
}

}  // namespace zevo::test
