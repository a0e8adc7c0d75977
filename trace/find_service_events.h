#pragma once
// The trace events of service discovery: a search starting and stopping (on the extension's
// thread), a result arriving, and the user handler being slow or throwing (on the search's
// strand). All write at their fixed level through trace_record and throw nothing.

#include <cstdint>
#include <string>
#include <vector>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_handle.h"
#include "ruv/com/log/log_backend.h"

namespace ruv::com::log {

/// "Find_service_start", level 4: the interface's compile-time name, the instance, and the
/// find-service handle's id in decimal as "1_string".
void trace_find_service_start(Log_backend& backend, char const* service,
                              kel::com::runtime::Instance_id const& instance, std::uint32_t handle_id) noexcept;

/// "Find_service_stop", level 4: the interface's compile-time name and the handle's id; no instance.
void trace_find_service_stop(Log_backend& backend, char const* service, std::uint32_t handle_id) noexcept;

/// "Find_service_result", level 4: the list of found services as "1_vector", also when empty.
void trace_find_service_result(Log_backend& backend, std::string const& service, std::string const& instance,
                               std::vector<kel::com::runtime::Service_handle> const& handles) noexcept;

/// "Find_service_handler_performance", level 3: the time the handler took as "4_time", in the
/// unit of the deadline guard that measured it.
void trace_find_service_handler_performance(Log_backend& backend, std::string const& service,
                                            std::string const& instance, unsigned long time) noexcept;

/// "Find_service_handler_exception", level 1: the user handler threw.
void trace_find_service_handler_exception(Log_backend& backend, std::string const& service,
                                          std::string const& instance) noexcept;

}  // namespace ruv::com::log
