#include "host/session_runner.h"

#include "host/hex_bytes.h"

namespace zevo::host {

std::string describe_response(const Uds_response& response) {
    if (response.suppressed) return "(no response: positive response suppressed by the request)";
    return format_hex_bytes(response.bytes);
}

Session_report run_session(const Uds_dispatcher& dispatcher, const std::vector<Session_step>& steps, std::ostream& out) {
    Session_report report;
    for (const Session_step& step : steps) {
        ++report.steps;
        out << "-> " << format_hex_bytes(step.request) << '\n';
        const Uds_response response = dispatcher.dispatch(step.request);
        out << "<- " << describe_response(response) << '\n';
        if (!response.job_error.empty()) out << "   (the job threw: " << response.job_error << ")\n";
        if (response != step.expected) {
            report.mismatches.push_back(step.title + ": sent " + format_hex_bytes(step.request) + ", expected " +
                                        describe_response(step.expected) + ", got " + describe_response(response));
        }
    }
    if (report.passed()) {
        out << "session: all " << report.steps << " responses as expected\n";
    } else {
        out << "session: " << report.mismatches.size() << " of " << report.steps
            << " responses not as expected:\n";
        for (const std::string& mismatch : report.mismatches) out << "  " << mismatch << '\n';
    }
    return report;
}

}  // namespace zevo::host
