#include "trace/sub_records.h"

#include <stdexcept>

#include "trace/value_names.h"

namespace ruv::com::log {

nlohmann::json service_id_record(std::string const& service) {
    return {{"1_id", "Service_id"}, {"string", service}};
}

nlohmann::json service_id_record(char const* service) {
    if (service == nullptr) {
        throw std::invalid_argument("traced service id is a null pointer");
    }
    return {{"1_id", "Service_id"}, {"2_char const*", service}};
}

nlohmann::json instance_id_record(std::string const& instance) {
    return {{"1_id", "Instance_id"}, {"2_string", instance}};
}

nlohmann::json instance_id_record(kel::com::runtime::Instance_id const& instance) {
    return instance_id_record(instance.to_string());
}

nlohmann::json service_handle_record(kel::com::runtime::Service_handle const& handle) {
    return {{"1_id", "Service_handle"},
            {"2_service_id", service_id_record(handle.service_id())},
            {"3_instance_id", instance_id_record(handle.instance_id())}};
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::vector<kel::com::runtime::Service_handle> const& handles) {
    nlohmann::json list = nlohmann::json::array();
    for (auto const& handle : handles) {
        list.push_back(service_handle_record(handle));
    }
    add_value_as(index, data, pad, value_type::vector, std::move(list));
}

}  // namespace ruv::com::log
