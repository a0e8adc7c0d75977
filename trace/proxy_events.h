#pragma once
// The trace event of a proxy's construction, written on the search's strand while the proxy is
// built from a found service. Writes at level 4 through trace_record and throws nothing.

#include <cstdint>

#include "ruv/com/cpp_binding/service_info.h"
#include "ruv/com/log/log_backend.h"

namespace ruv::com::log {

/// "Service_proxy_constructed", level 4: the port's service and instance, then the two flag
/// bytes that follow them in the construction's record, each as a decimal text ("%u") under
/// "4_struct4bytes" and "5_utf8simple".
void trace_service_proxy_constructed(Log_backend& backend, cpp_binding::Service_info const& info,
                                     std::uint8_t struct4bytes, std::uint8_t utf8simple) noexcept;

}  // namespace ruv::com::log
