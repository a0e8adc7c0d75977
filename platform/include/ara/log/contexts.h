#pragma once
// The DLT context ids of this system's parts, kept in one place: each part writes its own events
// through ara::log under its own id, so that a DLT viewer can show or hide one part at a time.
// Constants and two small helpers; logger_of and log_text are safe on any thread.

#include <string>
#include <string_view>

#include "ara/log/log_level.h"
#include "ara/log/log_stream.h"
#include "ara/log/logger.h"

namespace ara::log::contexts {

struct Context {
    std::string_view id;           ///< the DLT context id, four characters
    std::string_view description;  ///< what a DLT viewer shows beside the id
};

inline constexpr Context log_library{"ALOG", "libaralog: refused log settings"};
inline constexpr Context communication{
    "ACOM", "libara_com and the plug-in: service search, proxies, method calls (JSON records)"};
inline constexpr Context host{
    "HOST", "zevo-dm: configuration, plug-in, services found or lost, requests, UDS server"};
inline constexpr Context doip{"DOIP", "zevo-dm's DoIP server: testers, routing activation"};
inline constexpr Context simulator{"KSIM", "simulated key services: offers, withdrawals, faults"};

inline constexpr Context all[] = {log_library, communication, host, doip, simulator};

// The description of a context id of this list; an id of no part gets a description of its own.
constexpr std::string_view description_of(std::string_view id) noexcept {
    for (Context const& context : all) {
        if (context.id == id) return context.description;
    }
    return "context of this process";
}

// The process's logger of a part. Throws std::bad_alloc only.
inline Logger& logger_of(Context const& context) { return CreateLogger("ZEVO", context.id); }

// Writes one record of plain text at `level`; make_text() runs only when the level is on, so a
// disabled level costs the level test alone. Whatever make_text throws passes on.
template <typename Make_text>
void log_text(Logger const& logger, LogLevel level, Make_text&& make_text) {
    if (!logger.IsLogEnabled(level)) return;
    std::string const text = make_text();
    LogStream{level, logger} << text.c_str();
}

}  // namespace ara::log::contexts
