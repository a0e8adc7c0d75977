// someip_payload_bench: what the SOME/IP payload layer costs per call, beside a plain memcpy of
// the same number of bytes measured in the same run: (a) the request payload of Start of 0x0648
// with a ten-entry meta_info and a 4 KiB vector, written into a fresh, unreserved buffer as the
// request path does; (b) the RequestResults response of 0xC00F and (c) the Read response of
// 0x2C55, each read into its Output. Single-threaded; prints a table; it is not a test.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"
#include "someip/method_payload.h"

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;
namespace diag = talm::services::diag;
namespace serialization = ruv::com::someip::serialization;

constexpr std::size_t rounds = 9;                         ///< measurements per figure; the median is printed
constexpr auto round_time = std::chrono::milliseconds(40);  ///< at least this long per round

/// Makes `value` count as read and written behind the optimiser's back, so that neither the work
/// that produced it nor the work that follows can be dropped or hoisted out of the loop.
template <class T>
void escape(T& value) {
    asm volatile("" : : "r"(&value) : "memory");
}

/// Nanoseconds per call of `operation` over `count` calls.
template <class Operation>
double nanoseconds_per_call(std::size_t count, Operation& operation) {
    const auto started = Clock::now();
    for (std::size_t call = 0; call < count; ++call) {
        operation();
    }
    const std::chrono::duration<double, std::nano> elapsed = Clock::now() - started;
    return elapsed.count() / static_cast<double>(count);
}

/// How many calls of `operation` fill one round.
template <class Operation>
std::size_t calls_per_round(Operation& operation) {
    std::size_t count = 16;
    for (;;) {
        const auto started = Clock::now();
        for (std::size_t call = 0; call < count; ++call) {
            operation();
        }
        if (Clock::now() - started >= round_time) {
            return count;
        }
        count *= 2;
    }
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Figure {
    double subject_ns;
    double memcpy_ns;
};

/// The subject and a memcpy of `bytes` bytes, measured in alternating rounds so that a drifting
/// load hits both alike.
template <class Subject>
Figure measure(Subject subject, std::size_t bytes) {
    Bytes source(bytes, 0x5A);
    Bytes destination(bytes);
    auto copy = [&source, &destination] {
        escape(source);
        std::memcpy(destination.data(), source.data(), source.size());
        escape(destination);
    };
    const std::size_t subject_calls = calls_per_round(subject);
    const std::size_t copy_calls = calls_per_round(copy);
    std::vector<double> subject_ns;
    std::vector<double> copy_ns;
    for (std::size_t round = 0; round < rounds; ++round) {
        subject_ns.push_back(nanoseconds_per_call(subject_calls, subject));
        copy_ns.push_back(nanoseconds_per_call(copy_calls, copy));
    }
    return {median(subject_ns), median(copy_ns)};
}

void print(const char* name, std::size_t bytes, const Figure& figure) {
    std::printf("%-44s %6zu %12.1f %12.1f %10.1f\n", name, bytes, figure.subject_ns, figure.memcpy_ns,
                figure.subject_ns / figure.memcpy_ns);
}

std::map<std::string, std::string> ten_entry_meta_info() {
    std::map<std::string, std::string> meta_info;
    for (int entry = 0; entry < 10; ++entry) {
        meta_info.emplace("key_" + std::to_string(entry), "value_0x" + std::to_string(1000 + entry));
    }
    return meta_info;
}

}  // namespace

int main() {
    std::printf("%-44s %6s %12s %12s %10s\n", "payload", "bytes", "ns/call", "memcpy ns", "ratio");

    // (a) Start of 0x0648: meta_info, a byte, a 4 KiB vector.
    {
        using Start = diag::r_0648::RoutineService_ZevoDebug::Start;
        const auto meta_info = ten_entry_meta_info();
        const std::uint8_t option = 0x07;
        const Bytes data(4096, 0xA5);
        const std::size_t bytes = serialization::request_payload<Start>(meta_info, option, data).size();
        auto write = [&] {
            Bytes buffer;  // fresh and unreserved, as the request path gets it
            serialization::serialize_request<Start>(buffer, meta_info, option, data);
            escape(buffer);
        };
        print("request 0x0648 Start (10 entries, 4 KiB)", bytes, measure(write, bytes));
    }

    // (b) RequestResults of 0xC00F: 11 bytes into ten members.
    {
        using Output = diag::r_c00f::RoutineService_ZevoGetState::RequestResults::Output;
        Bytes payload{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xAB, 0xCD, 0x09, 0x0A};
        auto read = [&payload] {
            escape(payload);
            Output output = serialization::read_output<Output>(payload);
            escape(output);
        };
        print("response 0xC00F RequestResults", payload.size(), measure(read, payload.size()));
    }

    // (c) Read of 0x2C55: two arrays behind their length fields, 26 bytes.
    {
        using Output = diag::d_2c55::DataIdentifier_ZevoZevovin::Read::Output;
        Bytes payload{0x00, 0x00, 0x00, 0x01, 0xA1};
        payload.insert(payload.end(), {0x00, 0x00, 0x00, 0x11});
        for (std::uint8_t element = 1; element <= 17; ++element) {
            payload.push_back(element);
        }
        auto read = [&payload] {
            escape(payload);
            Output output = serialization::read_output<Output>(payload);
            escape(output);
        };
        print("response 0x2C55 Read", payload.size(), measure(read, payload.size()));
    }
    return 0;
}
