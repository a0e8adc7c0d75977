#include "com/sd/sd_codec.h"

#include <stdexcept>

namespace ruv::com::someip_binding::sd {
namespace {

constexpr std::size_t entry_size = 16;
constexpr std::size_t fixed_part = 12;  // flags, reserved, the two array lengths
constexpr std::uint16_t endpoint_length = 9;
constexpr std::size_t max_run = 15;

struct Parsed_option {
    bool known = false;
    bool valid = false;
    Option option;
};

bool is_multicast(const std::array<std::uint8_t, 4>& address) noexcept { return (address[0] & 0xF0) == 0xE0; }

bool is_unspecified(const std::array<std::uint8_t, 4>& address) noexcept {
    return address == std::array<std::uint8_t, 4>{};
}

/// `body` is what follows the option's type byte (its reserved byte first).
bool read_endpoint(std::uint8_t type, Byte_view body, Ipv4_endpoint& endpoint) {
    if (body.size != endpoint_length) {
        return false;
    }
    endpoint.address = {body.data[1], body.data[2], body.data[3], body.data[4]};
    endpoint.protocol = body.data[6];
    endpoint.port = read_u16(body.data + 7);
    if (endpoint.port == 0 || is_unspecified(endpoint.address)) {
        return false;
    }
    if (type == option_type::ipv4_multicast) {
        return endpoint.protocol == l4::udp && is_multicast(endpoint.address);
    }
    return (endpoint.protocol == l4::udp || endpoint.protocol == l4::tcp) && !is_multicast(endpoint.address);
}

bool read_configuration(Byte_view body, Option& option) {
    std::size_t at = 1;  // past the reserved byte
    while (at < body.size) {
        const std::size_t length = body.data[at++];
        if (length == 0) {
            return at == body.size;
        }
        if (length > body.size - at) {
            return false;
        }
        const std::string item(reinterpret_cast<const char*>(body.data + at), length);
        at += length;
        const std::size_t equals = item.find('=');
        if (equals == 0) {
            return false;
        }
        if (equals == std::string::npos) {
            option.configuration.emplace_back(item, "");
        } else {
            option.configuration.emplace_back(item.substr(0, equals), item.substr(equals + 1));
        }
    }
    return false;  // no closing zero length
}

Parsed_option read_option(std::uint8_t type, Byte_view body) {
    Parsed_option parsed;
    parsed.option.type = type;
    switch (type) {
    case option_type::ipv4_endpoint:
    case option_type::ipv4_multicast:
        parsed.known = true;
        parsed.valid = read_endpoint(type, body, parsed.option.endpoint);
        break;
    case option_type::configuration:
        parsed.known = true;
        parsed.valid = body.size >= 1 && read_configuration(body, parsed.option);
        break;
    default:
        break;
    }
    return parsed;
}

/// Splits the options array; false when an option reaches past it.
bool read_options(Byte_view array, std::vector<Parsed_option>& options) {
    std::size_t at = 0;
    while (at < array.size) {
        if (array.size - at < 3) {
            return false;
        }
        const std::size_t length = read_u16(array.data + at);
        const std::uint8_t type = array.data[at + 2];
        if (length > array.size - at - 3) {
            return false;
        }
        options.push_back(read_option(type, array.sub(at + 3, length)));
        at += 3 + length;
    }
    return true;
}

/// Whether the entry's fields and options agree with its type.
bool consistent(const Entry& entry) {
    if (entry.service_id == 0x0000 || entry.service_id == service_id) {
        return false;
    }
    switch (entry.type) {
    case entry_type::find_service:
        return entry.ttl != 0;
    case entry_type::offer_service: {
        if (entry.instance_id == any_instance || entry.major_version == any_major ||
            entry.minor_version == any_minor) {
            return false;
        }
        bool udp = false;
        bool tcp = false;
        for (const Option& option : entry.options) {
            if (option.type == option_type::ipv4_multicast) {
                return false;
            }
            if (option.type != option_type::ipv4_endpoint) {
                continue;
            }
            bool& seen = option.endpoint.protocol == l4::tcp ? tcp : udp;
            if (seen) {
                return false;  // two endpoints of one transport
            }
            seen = true;
        }
        return entry.ttl == 0 || udp || tcp;
    }
    case entry_type::subscribe_eventgroup:
        return entry.instance_id != any_instance && entry.major_version != any_major;
    default:
        return true;
    }
}

enum class Entry_verdict { taken, rejected, unknown };

Entry_verdict read_entry(const std::uint8_t* at, const std::vector<Parsed_option>& options, Entry& entry,
                         std::size_t& ignored_options) {
    entry.type = at[0];
    if (entry.type != entry_type::find_service && entry.type != entry_type::offer_service &&
        entry.type != entry_type::subscribe_eventgroup && entry.type != entry_type::subscribe_eventgroup_ack) {
        return Entry_verdict::unknown;
    }
    const std::size_t runs[2][2] = {{at[1], std::size_t{at[3]} >> 4}, {at[2], std::size_t{at[3]} & 0x0F}};
    entry.service_id = read_u16(at + 4);
    entry.instance_id = read_u16(at + 6);
    entry.major_version = at[8];
    entry.ttl = read_u24(at + 9);
    if (entry.is_service_entry()) {
        entry.minor_version = read_u32(at + 12);
    } else {
        entry.minor_version = 0;
        entry.counter = at[13] & 0x0F;
        entry.eventgroup_id = read_u16(at + 14);
    }
    for (const auto& run : runs) {
        if (run[1] == 0) {
            continue;  // an empty run may carry any index
        }
        if (run[0] + run[1] > options.size()) {
            return Entry_verdict::rejected;
        }
        for (std::size_t index = run[0]; index < run[0] + run[1]; ++index) {
            const Parsed_option& option = options[index];
            if (!option.known) {
                ++ignored_options;
                continue;
            }
            if (!option.valid) {
                return Entry_verdict::rejected;
            }
            entry.options.push_back(option.option);
        }
    }
    return consistent(entry) ? Entry_verdict::taken : Entry_verdict::rejected;
}

void append_option(Bytes& out, const Option& option) {
    if (option.type == option_type::configuration) {
        Bytes body{0};
        for (const auto& [key, value] : option.configuration) {
            const std::string item = value.empty() ? key : key + "=" + value;
            if (item.empty() || item.size() > 0xFF) {
                throw std::length_error("sd configuration item of 1 to 255 bytes");
            }
            body.push_back(static_cast<std::uint8_t>(item.size()));
            body.insert(body.end(), item.begin(), item.end());
        }
        body.push_back(0);
        append_u16(out, static_cast<std::uint16_t>(body.size()));
        out.push_back(option.type);
        out.insert(out.end(), body.begin(), body.end());
        return;
    }
    append_u16(out, endpoint_length);
    out.push_back(option.type);
    out.push_back(0);
    out.insert(out.end(), option.endpoint.address.begin(), option.endpoint.address.end());
    out.push_back(0);
    out.push_back(option.endpoint.protocol);
    append_u16(out, option.endpoint.port);
}

}  // namespace

bool Entry::operator==(const Entry& other) const noexcept {
    return type == other.type && service_id == other.service_id && instance_id == other.instance_id &&
           major_version == other.major_version && ttl == other.ttl && minor_version == other.minor_version &&
           counter == other.counter && eventgroup_id == other.eventgroup_id && options == other.options;
}

const char* to_text(Fault fault) noexcept {
    switch (fault) {
    case Fault::none:
        return "no fault";
    case Fault::too_short:
        return "shorter than its fixed part";
    case Fault::entries_length:
        return "entries array length out of range";
    case Fault::options_length:
        return "options array length out of range";
    case Fault::option_length:
        return "an option reaches past the options array";
    }
    return "unknown fault";
}

bool is_sd_header(const Message_header& header) noexcept {
    return header.service_id == service_id && header.method_id == method_id && header.client_id == 0 &&
           header.protocol_version == protocol_version && header.interface_version == 0x01 &&
           header.message_type == message_type::notification && header.return_code == 0 &&
           header.session_id != 0;
}

Decoded decode_sd(Byte_view payload) {
    Decoded decoded;
    if (payload.size < fixed_part) {
        decoded.fault = Fault::too_short;
        return decoded;
    }
    decoded.message.flags = payload.data[0];
    const std::uint32_t entries_length = read_u32(payload.data + 4);
    if (entries_length % entry_size != 0 || entries_length > payload.size - fixed_part) {
        decoded.fault = Fault::entries_length;
        return decoded;
    }
    const std::size_t options_at = 8 + std::size_t{entries_length};
    const std::uint32_t options_length = read_u32(payload.data + options_at);
    if (options_length != payload.size - options_at - 4) {
        decoded.fault = Fault::options_length;
        return decoded;
    }
    std::vector<Parsed_option> options;
    if (!read_options(payload.sub(options_at + 4, options_length), options)) {
        decoded.fault = Fault::option_length;
        return decoded;
    }
    for (std::size_t at = 8; at < options_at; at += entry_size) {
        Entry entry;
        switch (read_entry(payload.data + at, options, entry, decoded.ignored_options)) {
        case Entry_verdict::taken:
            decoded.message.entries.push_back(std::move(entry));
            break;
        case Entry_verdict::rejected:
            ++decoded.rejected_entries;
            break;
        case Entry_verdict::unknown:
            ++decoded.unknown_entries;
            break;
        }
    }
    return decoded;
}

Bytes encode_sd(const Message& message) {
    Bytes entries;
    Bytes options;
    std::size_t option_count = 0;
    // Runs written so far: an entry with the same options references the same run.
    std::vector<std::pair<std::vector<Option>, std::size_t>> runs;
    for (const Entry& entry : message.entries) {
        if (entry.options.size() > max_run) {
            throw std::length_error("sd entry with more than 15 options");
        }
        std::size_t index = 0;
        if (!entry.options.empty()) {
            bool found = false;
            for (const auto& [run, first] : runs) {
                if (run == entry.options) {
                    index = first;
                    found = true;
                    break;
                }
            }
            if (!found) {
                index = option_count;
                for (const Option& option : entry.options) {
                    append_option(options, option);
                }
                option_count += entry.options.size();
                runs.emplace_back(entry.options, index);
            }
        }
        if (index > 0xFF) {
            throw std::length_error("sd message with more than 256 options");
        }
        entries.push_back(entry.type);
        entries.push_back(static_cast<std::uint8_t>(index));
        entries.push_back(0);
        entries.push_back(static_cast<std::uint8_t>(entry.options.size() << 4));
        append_u16(entries, entry.service_id);
        append_u16(entries, entry.instance_id);
        entries.push_back(entry.major_version);
        append_u24(entries, entry.ttl);
        if (entry.is_service_entry()) {
            append_u32(entries, entry.minor_version);
        } else {
            entries.push_back(0);
            entries.push_back(entry.counter & 0x0F);
            append_u16(entries, entry.eventgroup_id);
        }
    }
    Bytes out{message.flags, 0, 0, 0};
    append_u32(out, static_cast<std::uint32_t>(entries.size()));
    out.insert(out.end(), entries.begin(), entries.end());
    append_u32(out, static_cast<std::uint32_t>(options.size()));
    out.insert(out.end(), options.begin(), options.end());
    return out;
}

Bytes encode_sd_message(const Message& message, std::uint16_t session_id) {
    Message_header header;
    header.service_id = service_id;
    header.method_id = method_id;
    header.client_id = 0;
    header.session_id = session_id;
    header.interface_version = 0x01;
    header.message_type = message_type::notification;
    const Bytes payload = encode_sd(message);
    return encode_message(header, view_of(payload));
}

}  // namespace ruv::com::someip_binding::sd
