#include "host/session_request_file.h"

#include <algorithm>

#include "host/hex_bytes.h"

namespace zevo::host {
namespace {

bool plain(const sim::Session_step& step) { return step.kind == sim::Session_step::Kind::send; }

}  // namespace

std::string tester_request_file(const std::vector<sim::Session_step>& steps) {
    std::string file;
    for (const sim::Session_step& step : steps) {
        if (!plain(step)) continue;
        file += "# " + step.title + '\n' + format_hex_bytes(step.request) + " => " + format_hex_bytes(step.expected) +
                '\n';
    }
    return file;
}

std::size_t tester_request_count(const std::vector<sim::Session_step>& steps) {
    return static_cast<std::size_t>(std::count_if(steps.begin(), steps.end(), plain));
}

}  // namespace zevo::host
