#include "platform/log/line_format.h"

#include <cstdio>
#include <ctime>

namespace ara::log::detail {

namespace {

// "YYYY/MM/DD HH:MM:SS.uuuuuu" in local time.
void append_time(std::string& line, std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    auto const seconds = floor<std::chrono::seconds>(time);
    auto const micros = duration_cast<microseconds>(time - seconds).count();
    std::time_t const calendar = system_clock::to_time_t(seconds);
    std::tm local{};
    localtime_r(&calendar, &local);
    char buffer[40];
    std::size_t length = std::strftime(buffer, sizeof buffer, "%Y/%m/%d %H:%M:%S", &local);
    int const written = std::snprintf(buffer + length, sizeof buffer - length, ".%06ld",
                                      static_cast<long>(micros));
    if (written > 0) length += static_cast<std::size_t>(written);
    line.append(buffer, length);
}

void append_id(std::string& line, std::string_view id) {
    line.append(id);
    if (id.size() < 4) line.append(4 - id.size(), ' ');
}

}  // namespace

std::string_view level_name(LogLevel level) noexcept {
    switch (level) {
    case LogLevel::kOff: return "off";
    case LogLevel::kFatal: return "fatal";
    case LogLevel::kError: return "error";
    case LogLevel::kWarn: return "warn";
    case LogLevel::kInfo: return "info";
    case LogLevel::kDebug: return "debug";
    case LogLevel::kVerbose: return "verbose";
    }
    return "unknown";
}

void append_single_line(std::string& target, std::string_view text) {
    std::size_t const start = target.size();
    target += text;
    for (std::size_t i = start; i < target.size(); ++i) {
        if (target[i] == '\n' || target[i] == '\r') target[i] = ' ';
    }
}

std::string format_line(Record const& record) {
    std::string line;
    line.reserve(64 + record.text.size());
    append_time(line, record.time);
    line += ' ';
    append_id(line, record.app_id);
    line += ' ';
    append_id(line, record.context_id);
    line += " log ";
    line += level_name(record.level);
    line += " verbose 1 ";
    append_single_line(line, record.text);
    line += '\n';
    return line;
}

}  // namespace ara::log::detail
