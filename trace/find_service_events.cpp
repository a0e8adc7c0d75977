#include "trace/find_service_events.h"

#include "trace/sub_records.h"
#include "trace/trace_event.h"
#include "trace/trace_record.h"
#include "trace/value_names.h"

namespace ruv::com::log {
namespace {

/// "1_string": a find-service handle's id as "%u" renders it.
auto handle_id_value(std::uint32_t handle_id) {
    return [handle_id](std::uint32_t& index, nlohmann::json& data) {
        add_value(index, data, std::string{}, std::to_string(handle_id));
    };
}

}  // namespace

void trace_find_service_start(Log_backend& backend, char const* service,
                              kel::com::runtime::Instance_id const& instance, std::uint32_t handle_id) noexcept {
    constexpr auto const& event = trace_event::find_service_start;
    trace_record(
        backend, event.level,
        [&]() -> nlohmann::json {
            return {{"1_id", event.id},
                    {"2_service_id", service_id_record(service)},
                    {"3_instance_id", instance_id_record(instance)}};
        },
        handle_id_value(handle_id));
}

void trace_find_service_stop(Log_backend& backend, char const* service, std::uint32_t handle_id) noexcept {
    constexpr auto const& event = trace_event::find_service_stop;
    trace_record(
        backend, event.level,
        [&]() -> nlohmann::json { return {{"1_id", event.id}, {"2_service_id", service_id_record(service)}}; },
        handle_id_value(handle_id));
}

void trace_find_service_result(Log_backend& backend, std::string const& service, std::string const& instance,
                               std::vector<kel::com::runtime::Service_handle> const& handles) noexcept {
    constexpr auto const& event = trace_event::find_service_result;
    trace_record(
        backend, event.level,
        [&]() -> nlohmann::json {
            return {{"1_id", event.id},
                    {"2_service_id", service_id_record(service)},
                    {"3_instance_id", instance_id_record(instance)}};
        },
        [&handles](std::uint32_t& index, nlohmann::json& data) { add_value(index, data, std::string{}, handles); });
}

void trace_find_service_handler_performance(Log_backend& backend, std::string const& service,
                                            std::string const& instance, unsigned long time) noexcept {
    constexpr auto const& event = trace_event::find_service_handler_performance;
    trace_record(backend, event.level, [&]() -> nlohmann::json {
        return {{"1_id", event.id},
                {"2_service_id", service_id_record(service)},
                {"3_instance_id", instance_id_record(instance)},
                {"4_time", time}};
    });
}

void trace_find_service_handler_exception(Log_backend& backend, std::string const& service,
                                          std::string const& instance) noexcept {
    constexpr auto const& event = trace_event::find_service_handler_exception;
    trace_record(backend, event.level, [&]() -> nlohmann::json {
        return {{"1_id", event.id},
                {"2_service_id", service_id_record(service)},
                {"3_instance_id", instance_id_record(instance)}};
    });
}

}  // namespace ruv::com::log
