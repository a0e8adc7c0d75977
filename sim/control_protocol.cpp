#include "sim/control_protocol.h"

#include <arpa/inet.h>

#include <vector>

#include "sim/service_table.h"

namespace zevo::sim {
namespace {

std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    std::size_t start = 0;
    for (;;) {
        const std::size_t space = line.find(' ', start);
        words.push_back(line.substr(start, space - start));
        if (space == std::string::npos) return words;
        start = space + 1;
    }
}

/// A decimal number of at most nine digits, or -1.
long long decimal_of(const std::string& text) {
    if (text.empty() || text.size() > 9) return -1;
    long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

const Service_entry& service_of(const std::string& text) { return *find_service(parse_served_identifier(text)); }

Method method_of_name(const std::string& text, const Service_entry& service) {
    for (Method method : {Method::read_or_results, Method::start, Method::cancel}) {
        if (text == method_name(method, service.routine) && (service.routine || method != Method::start)) return method;
    }
    throw Control_error("'" + text + "' is not a method of " + hex_identifier(service.identifier));
}

}  // namespace

std::uint16_t parse_served_identifier(const std::string& text) {
    const auto refuse = [&] { return Control_error("expected a served identifier such as 0x2C56, not '" + text + "'"); };
    if (text.size() != 6 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) throw refuse();
    unsigned identifier = 0;
    for (std::size_t i = 2; i < text.size(); ++i) {
        const char c = text[i];
        const int digit = c >= '0' && c <= '9' ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        if (digit < 0) throw refuse();
        identifier = identifier * 16 + static_cast<unsigned>(digit);
    }
    if (find_service(static_cast<std::uint16_t>(identifier)) == nullptr) throw refuse();
    return static_cast<std::uint16_t>(identifier);
}

Control_command parse_control_command(const std::string& line) {
    if (line.size() > max_control_line) throw Control_error("line longer than " + std::to_string(max_control_line));
    const std::vector<std::string> words = words_of(line);
    Control_command command;
    const std::string& verb = words.front();
    if (verb == "withdraw" || verb == "offer") {
        if (words.size() != 2) throw Control_error(verb + " takes one identifier");
        command.kind = verb == "withdraw" ? Control_command::Kind::withdraw : Control_command::Kind::offer;
        command.identifier = service_of(words[1]).identifier;
        return command;
    }
    if (verb == "wait-pending") {
        if (words.size() != 4) throw Control_error("wait-pending takes an identifier, a method and milliseconds");
        const Service_entry& service = service_of(words[1]);
        command.kind = Control_command::Kind::wait_for_pending_call;
        command.identifier = service.identifier;
        command.method = method_of_name(words[2], service);
        const long long timeout = decimal_of(words[3]);
        if (timeout < 0 || timeout > max_control_wait.count()) {
            throw Control_error("expected milliseconds from 0 to " + std::to_string(max_control_wait.count()) +
                                ", not '" + words[3] + "'");
        }
        command.timeout = std::chrono::milliseconds{timeout};
        return command;
    }
    throw Control_error("unknown command '" + verb + "' (commands: withdraw, offer, wait-pending)");
}

std::string format_control_command(const Control_command& command) {
    const std::string identifier = hex_identifier(command.identifier);
    switch (command.kind) {
        case Control_command::Kind::withdraw: return "withdraw " + identifier;
        case Control_command::Kind::offer: return "offer " + identifier;
        case Control_command::Kind::wait_for_pending_call: {
            const Service_entry* service = find_service(command.identifier);
            return "wait-pending " + identifier + " " +
                   method_name(command.method, service != nullptr && service->routine) + " " +
                   std::to_string(command.timeout.count());
        }
    }
    return {};
}

Control_address parse_control_address(const std::string& text, bool any_port) {
    const auto refuse = [&] {
        return Control_error("expected an IPv4 address and a port such as 127.0.0.2:30600, not '" + text + "'");
    };
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) throw refuse();
    Control_address result;
    result.address = text.substr(0, colon);
    in_addr parsed{};
    if (::inet_pton(AF_INET, result.address.c_str(), &parsed) != 1) throw refuse();
    const long long port = decimal_of(text.substr(colon + 1));
    if (port < (any_port ? 0 : 1) || port > 65535) throw refuse();
    result.port = static_cast<std::uint16_t>(port);
    return result;
}

}  // namespace zevo::sim
