#pragma once
// Root of every application error a service interface declares. The service's side writes an
// error into its response payload through write_payload; the client's side rebuilds it from
// those bytes. Slot order behind the destructor pair: what, error_code, write_payload.

#include <cstdint>
#include <exception>
#include <vector>

namespace ruv::com::cpp_binding {

/// Gives an application error the bytes of the payload it appends itself to; not owned.
class Error_payload_writer {
public:
    explicit Error_payload_writer(std::vector<std::uint8_t>& target) noexcept : target_(target) {}
    std::vector<std::uint8_t>& bytes() noexcept { return target_; }

private:
    std::vector<std::uint8_t>& target_;
};

class Application_error_exception : public std::exception {
public:
    const char* what() const noexcept override = 0;
    /// The error's code within its interface.
    virtual std::uint8_t error_code() const noexcept = 0;
    /// Appends the error's members to the payload, in order of declaration.
    virtual void write_payload(Error_payload_writer& writer) const = 0;
};

}  // namespace ruv::com::cpp_binding
