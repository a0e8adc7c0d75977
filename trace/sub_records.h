#pragma once
// The sub-records that name services in trace records: "Service_id" in its two forms,
// "Instance_id", "Service_handle" and a list of found services. Called while a record is built, on
// the event's thread; throws what building JSON and the handle's accessors throw.

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "kel/com/runtime/instance_id.h"
#include "kel/com/runtime/service_handle.h"

namespace ruv::com::log {

/// {"1_id":"Service_id","string":service}: a service id from a run-time service description.
/// The second key has no number, unlike every other key of a record.
nlohmann::json service_id_record(std::string const& service);

/// {"1_id":"Service_id","2_char const*":service}: the compile-time name of a service interface.
/// A null `service` throws std::invalid_argument.
nlohmann::json service_id_record(char const* service);

/// {"1_id":"Instance_id","2_string":instance}.
nlohmann::json instance_id_record(std::string const& instance);
nlohmann::json instance_id_record(kel::com::runtime::Instance_id const& instance);

/// {"1_id":"Service_handle","2_service_id":<Service_id, string form>,"3_instance_id":<Instance_id>},
/// from the handle's own accessors.
nlohmann::json service_handle_record(kel::com::runtime::Service_handle const& handle);

/// "vector": one "Service_handle" sub-record per handle, in order; [] for an empty list.
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::vector<kel::com::runtime::Service_handle> const& handles);

}  // namespace ruv::com::log
