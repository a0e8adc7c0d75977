#pragma once
// The one routine that produces a trace record: level test, building, rendering, writing. Every
// emitter goes through it, on the thread of its event. It is noexcept: whatever building throws
// is swallowed, and what the backend throws ends the process.

#include <cstdint>
#include <string>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "ruv/com/log/log_backend.h"
#include "trace/trace_text.h"

namespace ruv::com::log {

/// Stands for the values of an event that carries none: its record has no "2_data" key at all.
struct No_values {};

namespace detail {

/// Builds, renders and logs the record once its level is known to be on. Kept out of line so
/// that what is inlined at an event's place is the level test alone.
template <class Incident, class Add_values>
[[gnu::noinline]] void write_record(Log_backend& backend, unsigned char level, Incident const& incident,
                                    Add_values const& add_values) noexcept {
    std::string text;
    try {
        nlohmann::json record = nlohmann::json::object();
        std::uint32_t index = 1;
        record["1_incident"] = incident();
        if constexpr (!std::is_same_v<Add_values, No_values>) {
            add_values(index, record["2_data"]);
        }
        text = to_trace_text(record);
    } catch (...) {
        // Tracing never fails a call: the record is lost and an empty text is logged, which the
        // platform's backend does not write.
        text.clear();
    }
    backend.log(text, level);
}

}  // namespace detail

/// If `level` is enabled on `backend`, builds {"1_incident": incident(), "2_data": {...}},
/// renders it and logs it at `level`. `incident` is a callable returning the incident object;
/// `add_values(std::uint32_t& index, nlohmann::json& data)` stores the event's values in "2_data"
/// under keys numbered from `index` (which starts at 1). With the level off nothing is built:
/// the cost is the one virtual call of the test. A record that cannot be built, for whatever
/// reason, is logged as an empty text.
template <class Incident, class Add_values = No_values>
void trace_record(Log_backend& backend, unsigned char level, Incident const& incident,
                  Add_values const& add_values = {}) noexcept {
    if (backend.is_log_enabled(level)) {
        detail::write_record(backend, level, incident, add_values);
    }
}

}  // namespace ruv::com::log
