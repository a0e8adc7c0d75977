#include "trace/proxy_events.h"

#include <string>

#include "trace/sub_records.h"
#include "trace/trace_event.h"
#include "trace/trace_record.h"

namespace ruv::com::log {

void trace_service_proxy_constructed(Log_backend& backend, cpp_binding::Service_info const& info,
                                     std::uint8_t struct4bytes, std::uint8_t utf8simple) noexcept {
    constexpr auto const& event = trace_event::service_proxy_constructed;
    trace_record(backend, event.level, [&]() -> nlohmann::json {
        return {{"1_id", event.id},
                {"2_service_id", service_id_record(info.service)},
                {"3_instance_id", instance_id_record(info.instance)},
                {"4_struct4bytes", std::to_string(unsigned{struct4bytes})},
                {"5_utf8simple", std::to_string(unsigned{utf8simple})}};
    });
}

}  // namespace ruv::com::log
