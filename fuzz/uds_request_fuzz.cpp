// uds_request_fuzz: arbitrary bytes as what a tester sends. Each input is read (a) as request
// parameters by every Deserialize overload, alone and in a mixed sequence, (b) as the option
// bytes of the six routines' Start, cut into its arguments as the routine job does, (c) as
// a whole UDS request given to the host's dispatcher with fake extensions behind all ten
// identifiers, and (d) as a request to the host's UDS server (default description, a clock that
// stands still), physical and functional. Each must give its value, its documented error or its
// negative response code by the server's check order, and nothing else.

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "bindings/routine_job.h"
#include "bindings/uds_record.h"
#include "extension/deserialize.h"
#include "extension/serialize.h"
#include "fuzz/fake_extensions.h"
#include "fuzz/fuzz_check.h"
#include "host/uds_dispatcher.h"
#include "host/uds_server/diagnostic_description.h"
#include "host/uds_server/synchronous_tester.h"
#include "host/uds_server/timer_queue.h"
#include "host/uds_server/uds_server.h"
#include "tests/someip/service_methods.h"

namespace {

using zevo::fuzz::described;
using zevo::fuzz::expect;
using zevo::fuzz::fail;
using Bytes = std::vector<std::uint8_t>;
namespace extension = ruv::dm::foundation::extension;
namespace methods = zevo::test::methods;

const extension::Meta_info meta_info{{"service_id", "0x31"}};

/// What a read past the end throws: the bounds-tested vector access's own std::out_of_range.
bool is_range_check(const std::exception& error) {
    return typeid(error) == typeid(std::out_of_range) &&
           std::string(error.what()).rfind("vector::_M_range_check: ", 0) == 0;
}

template <class T>
T big_endian_at(const Bytes& data, std::size_t position) {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < sizeof(T); ++index) {
        value = value << 8U | data[position + index];
    }
    return static_cast<T>(value);
}

/// One read of a T: the value at the position, or, with fewer bytes left, the range check with
/// value and position untouched. Returns whether it read.
template <class T>
bool read_one(extension::Deserialize& parameters, const Bytes& data) {
    const std::size_t position = parameters.read_position();
    const T untouched = static_cast<T>(0x5A);
    T value = untouched;
    try {
        parameters.deserialize(value);
    } catch (const std::exception& error) {
        expect(is_range_check(error), "Deserialize: " + described(error));
        expect(data.size() - position < sizeof(T), "Deserialize: refused a value that was there");
        expect(value == untouched && parameters.read_position() == position,
               "Deserialize: a refused read changed the value or the position");
        return false;
    }
    expect(data.size() - position >= sizeof(T), "Deserialize: read a value that was not there");
    expect(value == big_endian_at<T>(data, position), "Deserialize: not the big-endian value");
    expect(parameters.read_position() == position + sizeof(T), "Deserialize: position not behind the value");
    return true;
}

using Integer_types = std::tuple<std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int8_t,
                                 std::int16_t, std::int32_t, std::int64_t>;

/// Reads the type that `selector` picks from the eight.
template <std::size_t Index = 0>
bool read_selected(std::size_t selector, extension::Deserialize& parameters, const Bytes& data) {
    if constexpr (Index < std::tuple_size_v<Integer_types>) {
        if (selector == Index) {
            return read_one<std::tuple_element_t<Index, Integer_types>>(parameters, data);
        }
        return read_selected<Index + 1>(selector, parameters, data);
    } else {
        fail("no integer type for this selector");
    }
}

void decode_parameters(const Bytes& data) {
    // Each overload alone, until the request is used up.
    for (std::size_t type = 0; type < std::tuple_size_v<Integer_types>; ++type) {
        extension::Deserialize parameters(data, meta_info);
        while (read_selected(type, parameters, data)) {
        }
    }
    // A mixed sequence: the bytes themselves pick the next type.
    extension::Deserialize parameters(data, meta_info);
    for (std::size_t step = 0; !data.empty(); ++step) {
        const std::size_t selector = data[step % data.size()] % std::tuple_size_v<Integer_types>;
        if (!read_selected(selector, parameters, data)) {
            break;
        }
    }
}

/// Bytes a Start argument takes from the request: a byte, an array's elements, or, for a vector,
/// none of its own (it takes whatever is left).
template <class T>
constexpr std::size_t fixed_size = sizeof(T);
template <>
constexpr std::size_t fixed_size<std::vector<std::uint8_t>> = 0;

template <class Case>
void decode_start(const Bytes& data) {
    if constexpr (Case::is_routine && !Case::is_cancel && !Case::is_results) {
        using Input = extension::job_flow::Start_input<typename Case::Method::Signature>;
        Input input{meta_info, {}};
        const std::size_t needed = std::apply(
            [](const auto&... argument) { return (std::size_t{0} + ... + fixed_size<std::decay_t<decltype(argument)>>); },
            input.arguments);
        extension::Deserialize parameters(data, meta_info);
        try {
            extension::uds_record::read_arguments(parameters, input.arguments);
        } catch (const std::exception& error) {
            expect(is_range_check(error) && data.size() < needed, Case::name() + " arguments: " + described(error));
            return;
        }
        expect(data.size() >= needed, Case::name() + " arguments: decoded from too short a request");
        // Written back as UDS bytes, the arguments are the request's bytes they were cut from.
        Bytes rewritten;
        extension::Serialize record(rewritten);
        std::apply([&record](const auto&... argument) { (extension::uds_record::write_field(record, argument), ...); },
                   input.arguments);
        expect(rewritten.size() <= data.size() && std::equal(rewritten.begin(), rewritten.end(), data.begin()),
               Case::name() + " arguments: not the request's bytes");
        expect(parameters.read_position() == rewritten.size(), Case::name() + " arguments: bytes left unaccounted");
    }
}

// --- the host's dispatcher ---

using zevo::fuzz::Echoing_data_identifier;
using zevo::fuzz::Echoing_routine;

struct Served {
    std::array<Echoing_data_identifier, 4> data_identifiers;
    std::array<Echoing_routine, 6> routines;
    zevo::host::Uds_dispatcher dispatcher{0x0E80};

    Served() {
        std::size_t did = 0;
        std::size_t rid = 0;
        methods::for_each_type<methods::All_services>([&](auto tag) {
            using Service = typename decltype(tag)::type;
            if constexpr (methods::Is_routine<typename Service::Interface>::value) {
                dispatcher.add_routine(Service::identifier, routines.at(rid++));
            } else {
                dispatcher.add_data_identifier(Service::identifier, data_identifiers.at(did++));
            }
        });
    }
};

bool is_served(std::uint16_t identifier, bool routine) {
    bool served = false;
    methods::for_each_type<methods::All_services>([&](auto tag) {
        using Service = typename decltype(tag)::type;
        served = served || (Service::identifier == identifier &&
                            methods::Is_routine<typename Service::Interface>::value == routine);
    });
    return served;
}

std::uint16_t identifier_at(const Bytes& request, std::size_t position) {
    return static_cast<std::uint16_t>(request[position] << 8U | request[position + 1]);
}

/// The answer a correct dispatcher gives with the echoing extensions behind it, built from the
/// request alone (ISO 14229-1 22, 2E and 31 as the host serves them).
Bytes expected_answer(const Bytes& request, bool& suppressed) {
    suppressed = false;
    if (request.empty()) return {0x7F, 0x00, 0x13};
    const std::uint8_t sid = request[0];
    const auto negative = [sid](std::uint8_t code) { return Bytes{0x7F, sid, code}; };
    if (sid == 0x22) {
        if (request.size() < 3 || (request.size() - 1) % 2 != 0) return negative(0x13);
        Bytes answer{0x62};
        for (std::size_t position = 1; position < request.size(); position += 2) {
            if (is_served(identifier_at(request, position), false)) {
                answer.insert(answer.end(), {request[position], request[position + 1]});
                answer.insert(answer.end(), Echoing_data_identifier::record.begin(), Echoing_data_identifier::record.end());
            }
        }
        return answer.size() == 1 ? negative(0x31) : answer;
    }
    if (sid == 0x2E) {
        if (request.size() < 4) return negative(0x13);
        if (!is_served(identifier_at(request, 1), false)) return negative(0x31);
        const std::uint8_t code = Echoing_data_identifier::write_code(Bytes(request.begin() + 3, request.end()));
        return code != 0 ? negative(code) : Bytes{0x6E, request[1], request[2]};
    }
    if (sid == 0x31) {
        if (request.size() < 2) return negative(0x13);
        const std::uint8_t type = request[1] & 0x7F;
        if (type < 0x01 || type > 0x03) return negative(0x12);
        if (request.size() < 4) return negative(0x13);
        if (!is_served(identifier_at(request, 2), true)) return negative(0x31);
        const std::uint8_t code = Echoing_routine::code(Bytes(request.begin() + 4, request.end()));
        if (code != 0) return negative(code);
        if ((request[1] & 0x80) != 0) {
            suppressed = true;
            return {};
        }
        Bytes answer{0x71, type, request[2], request[3]};
        answer.insert(answer.end(), Echoing_routine::status.begin(), Echoing_routine::status.end());
        return answer;
    }
    return negative(0x11);
}

void dispatch(const Bytes& request) {
    static Served served;
    zevo::host::Uds_response response;
    try {
        response = served.dispatcher.dispatch(request);
    } catch (const std::exception& error) {
        fail("dispatch: " + described(error));
    }
    bool suppressed = false;
    const Bytes expected = expected_answer(request, suppressed);
    expect(response.bytes == expected && response.suppressed == suppressed, "dispatch: not the expected answer");
    expect(response.job_error.empty(), "dispatch: a job failed: " + response.job_error);
}

// --- the host's UDS server

/// The negative response codes the server may give for `sid` by its check order, or that the
/// echoing extensions return (their first option or data byte, any value).
bool allowed_refusal(std::uint8_t sid, std::uint8_t code, const Bytes& request) {
    switch (sid) {
        case 0x10:
        case 0x3E: return code == 0x12 || code == 0x13;
        case 0x22: return code == 0x13 || code == 0x14 || code == 0x31;
        case 0x2E: return code == 0x13 || code == 0x31;  // the default description writes nothing
        case 0x31:
            if (code == 0x12 || code == 0x13 || code == 0x31) return true;
            return request.size() > 4 && code == request[4] && code != 0x78;  // the routine's own answer
        default: return code == 0x11;
    }
}

void serve(const Bytes& request, bool functional) {
    struct Server {
        Served extensions;
        zevo::host::Manual_timer_queue timers;  // never advanced: no 0x78, no S3 expiry
        zevo::host::Uds_server server{extensions.dispatcher, zevo::host::default_description(), timers};
        zevo::host::Synchronous_tester tester{server, 0x0E80};
    };
    static Server served;
    using Kind = zevo::host::Request_end::Kind;
    const zevo::host::Exchange exchange = served.tester.exchange(request, functional);
    const std::uint8_t sid = request.empty() ? 0x00 : request[0];
    if (exchange.end.kind != Kind::answered) {
        expect(exchange.answers.empty(), "server: an answer went out for a request it reports as unanswered");
        expect(exchange.end.kind != Kind::cancelled, "server: a request was cancelled with nobody cancelling");
        return;
    }
    expect(exchange.answers.size() == 1 && exchange.answers[0] == exchange.end.answer,
           "server: not exactly one answer, the final one");
    const Bytes& answer = exchange.end.answer;
    expect(!answer.empty(), "server: an empty answer");
    if (answer[0] == 0x7F) {
        expect(answer.size() == 3 && answer[1] == sid, "server: a negative answer that is not 7F SID NRC");
        // A 0x78 (or an extension's 0x78 passed on) would need the clock, which stands still; the
        // echoing routine's 0x78 becomes 0x10.
        const std::uint8_t code = answer[2];
        const bool routine_general_reject = sid == 0x31 && code == 0x10 && request.size() > 4 &&
                                            (request[4] == 0x10 || request[4] == 0x78);
        expect(allowed_refusal(sid, code, request) || routine_general_reject ||
                   (sid == 0x00 && request.empty() && code == 0x13),
               "server: a negative response code out of the check order");
        const bool withheld = code == 0x11 || code == 0x12 || code == 0x31 || code == 0x7E || code == 0x7F;
        expect(!(functional && withheld), "server: a functional request got 0x11, 0x12, 0x31, 0x7E or 0x7F");
        return;
    }
    expect(answer[0] == (sid | 0x40), "server: a positive answer with another SID");
    expect(sid != 0x2E, "server: a write the default description refuses got a positive answer");
    expect(!(sid == 0x31 && (request[1] & 0x7F) == 0x02), "server: a stop the description refuses got through");
    expect(!(sid == 0x31 && (request[1] & 0x80) != 0), "server: a suppressed positive answer went out");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes input(data, data + size);
    decode_parameters(input);
    methods::for_each_type<methods::All_methods>([&input](auto tag) { decode_start<typename decltype(tag)::type>(input); });
    dispatch(input);
    serve(input, false);
    serve(input, true);
    return 0;
}
