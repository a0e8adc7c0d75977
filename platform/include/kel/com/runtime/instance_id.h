#pragma once
// The instance of a service as the runtime knows it: one text ("1" on the bench). A value type;
// copies are independent, so any thread may hold one.

#include <string>
#include <utility>

namespace kel::com::runtime {

class Instance_id {
public:
    explicit Instance_id(std::string id) : id_(std::move(id)) {}

    /// The instance text, as given.
    const std::string& to_string() const noexcept { return id_; }

    friend bool operator==(const Instance_id& left, const Instance_id& right) { return left.id_ == right.id_; }
    friend bool operator!=(const Instance_id& left, const Instance_id& right) { return !(left == right); }

private:
    std::string id_;
};

}  // namespace kel::com::runtime
