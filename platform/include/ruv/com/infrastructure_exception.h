#pragma once
// The proxy runtime's own failures, thrown by value and carried to callers in their futures:
// a transport failure with its return code, and a service that is not offered.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace ruv::com {

class Infrastructure_exception : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

class Transport_exception : public Infrastructure_exception {
public:
    explicit Transport_exception(std::uint8_t transport_code, const std::string& text = "Transport exception")
        : Infrastructure_exception(text), code_(transport_code) {}

    /// The runtime's return code: 0x81, 0x82, 0x86, or 0x8A for anything not understood.
    std::uint8_t code() const noexcept { return code_; }

private:
    std::uint8_t code_;
};

class Service_not_available_exception : public Infrastructure_exception {
public:
    Service_not_available_exception() : Infrastructure_exception("Service not available exception") {}
};

}  // namespace ruv::com
