// zevo-tester: the bench's DoIP tester. Finds entities, activates routing, sends the requests
// of the command line or a file and compares the answers with their expectations.

#include <algorithm>
#include <fstream>
#include <iostream>

#include "host/doip/tester/doip_link.h"
#include "host/doip/tester/tester_options.h"
#include "host/doip/tester/tester_session.h"
#include "host/expectation.h"
#include "host/hex_bytes.h"

namespace {

using namespace zevo;
using doip::Tester_options;

constexpr int exit_mismatch = 1;
constexpr int exit_usage = 2;
constexpr int exit_unreachable = 3;

template <std::size_t N>
std::string hex_of(const std::array<std::uint8_t, N>& bytes) {
    return host::format_hex_bytes(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

// Vehicle identification over UDP: every answer within the timeout, printed; their number.
std::vector<doip::Vehicle_identification> identify(const Tester_options& options, bool print) {
    doip::Udp_link udp;
    const doip::Bytes request = doip::encode_vehicle_id_request(options.version);
    if (options.host_given || !options.discover) {
        udp.send_to(request, options.host, options.port);
    } else {
        // Broadcast, and the bench's own address: an entity bound to 127.0.0.1 gets no broadcast.
        try {
            udp.send_to(request, "255.255.255.255", options.port);
        } catch (const doip::Link_error& error) {
            std::cerr << "zevo-tester: " << error.what() << '\n';
        }
        udp.send_to(request, "127.0.0.1", options.port);
    }
    std::vector<doip::Vehicle_identification> found;
    std::vector<std::string> seen;  // an entity reached both ways answers twice
    auto until = std::chrono::steady_clock::now() + options.timeout;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        std::string sender;
        std::optional<doip::Received> answer = udp.receive(left, &sender);
        if (!answer || answer->header.payload_type != doip::payload_type::vehicle_announcement) continue;
        auto identification = doip::decode_vehicle_identification(answer->payload);
        if (!identification) continue;
        const std::string who = sender + "/" + std::to_string(identification->logical_address);
        if (std::find(seen.begin(), seen.end(), who) != seen.end()) continue;
        seen.push_back(who);
        found.push_back(*identification);
        if (print) {
            std::cout << "entity " << host::format_hex_value(identification->logical_address, 4) << " at " << sender
                      << "  VIN " << std::string(identification->vin.begin(), identification->vin.end()) << "  EID "
                      << hex_of(identification->eid) << "  GID " << hex_of(identification->gid)
                      << "  further action " << host::format_hex_value(identification->further_action, 2) << '\n';
        }
        if (!options.discover) break;  // the one entity asked is enough
    }
    return found;
}

std::vector<host::Scripted_request> request_lines(const Tester_options& options) {
    std::vector<host::Scripted_request> lines;
    if (options.file) {
        std::ifstream file(*options.file);
        if (!file) throw doip::Usage_error("cannot read " + *options.file);
        std::string text;
        for (int number = 1; std::getline(file, text); ++number) {
            try {
                if (auto line = host::parse_request_line(text)) lines.push_back(*line);
            } catch (const host::Expectation_error& error) {
                throw doip::Usage_error(*options.file + ":" + std::to_string(number) + ": " + error.what());
            }
        }
    }
    for (const std::string& text : options.requests) {
        try {
            if (auto line = host::parse_request_line(text)) lines.push_back(*line);
        } catch (const host::Expectation_error& error) {
            throw doip::Usage_error("'" + text + "': " + error.what());
        }
    }
    return lines;
}

int run(const Tester_options& options) {
    if (options.discover) {
        std::size_t found = identify(options, true).size();
        if (found == 0) {
            std::cerr << "zevo-tester: no DoIP entity answered within " << options.timeout.count() << " ms\n";
            return exit_unreachable;
        }
        if (options.requests.empty() && !options.file) return 0;
    }
    std::vector<host::Scripted_request> lines = request_lines(options);
    std::uint16_t target = 0;
    if (options.target) {
        target = *options.target;
    } else {
        std::vector<doip::Vehicle_identification> found = identify(options, false);
        if (found.empty()) {
            std::cerr << "zevo-tester: " << options.host << ":" << options.port
                      << " did not answer vehicle identification (give --target to skip it)\n";
            return exit_unreachable;
        }
        target = found.front().logical_address;
    }
    doip::Tcp_link link(options.host, options.port, options.timeout);
    doip::Tester_session session(link, options, target, std::cout);
    int code = session.activate();
    if (code != doip::activation_code::activated) {
        std::cerr << "zevo-tester: routing activation "
                  << (code < 0 ? std::string("not answered")
                               : "denied with code " + host::format_hex_value(static_cast<std::uint32_t>(code), 2))
                  << '\n';
        return exit_unreachable;
    }
    bool all_expected = true;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0 && options.pause.count() > 0) session.idle(options.pause);
        all_expected = session.run(lines[i]) && all_expected;
        if (link.at_end()) break;
    }
    return all_expected && !link.at_end() ? 0 : exit_mismatch;
}

}  // namespace

int main(int argc, char** argv) {
    std::cout << std::unitbuf;
    try {
        Tester_options options = doip::parse_tester_options(std::vector<std::string>(argv + 1, argv + argc));
        if (options.help) {
            std::cout << doip::tester_usage();
            return 0;
        }
        return run(options);
    } catch (const doip::Usage_error& error) {
        std::cerr << "zevo-tester: " << error.what() << '\n';
        return exit_usage;
    } catch (const doip::Link_error& error) {
        std::cerr << "zevo-tester: " << error.what() << '\n';
        return exit_unreachable;
    }
}
