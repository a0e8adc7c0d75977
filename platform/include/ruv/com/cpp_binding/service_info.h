#pragma once
// The identity of a service as this system knows it: two texts, no numbers.

#include <string>

namespace ruv::com::cpp_binding {

struct Service_info {
    std::string service;   ///< the interface's full name
    std::string instance;  ///< the instance text
};

}  // namespace ruv::com::cpp_binding
