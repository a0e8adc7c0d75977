#include "tests/soak/fault_injector.h"

#include <cstdio>
#include <thread>

#include "sim/key_simulator.h"
#include "tests/soak/traffic_mix.h"

namespace zevo::soak {
namespace {

std::string identifier_text(std::uint16_t identifier) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%04X", identifier);
    return text;
}

}  // namespace

void Fault_injector::inject_until(Time end, const std::vector<std::string>& kinds) {
    std::vector<std::string> chosen = kinds;
    if (chosen.empty()) chosen.assign(std::begin(fault_kinds), std::end(fault_kinds));
    for (;;) {
        const Time next = Clock::now() + Milliseconds(std::uniform_int_distribution<int>(300, 2500)(random_));
        if (next >= end) {
            std::this_thread::sleep_until(end);
            return;
        }
        std::this_thread::sleep_until(next);
        const std::string& kind = chosen[std::uniform_int_distribution<std::size_t>(0, chosen.size() - 1)(random_)];
        if (kind == fault_kinds[0]) restart_keysim();
        else if (kind == fault_kinds[1]) withdraw_and_offer();
        else if (kind == fault_kinds[2]) leave_in_the_middle();
        else hold_until_timeout();
    }
}

void Fault_injector::restart_keysim() {
    referee_.tally().count_fault(fault_kinds[0]);
    keysim_.kill();
    referee_.keysim_killed(Clock::now());
    std::this_thread::sleep_for(Milliseconds(std::uniform_int_distribution<int>(0, 500)(random_)));
    try {
        keysim_.start();
    } catch (const std::exception& error) {
        referee_.tally().fail(std::string("restart of zevo-keysim: ") + error.what());
    }
}

void Fault_injector::withdraw_and_offer() {
    const auto& all = sim::served_identifiers();
    const std::string identifier = identifier_text(all[std::uniform_int_distribution<std::size_t>(0, all.size() - 1)(random_)]);
    referee_.tally().count_fault(fault_kinds[1]);
    const std::string withdrawn = keysim_.control("withdraw " + identifier);
    std::this_thread::sleep_for(Milliseconds(std::uniform_int_distribution<int>(100, 1500)(random_)));
    const std::string offered = keysim_.control("offer " + identifier);
    if (withdrawn != "ok" || offered != "ok") {
        referee_.tally().fail("withdraw and offer " + identifier + " through the control port: '" + withdrawn +
                              "', '" + offered + "'");
    }
}

void Fault_injector::leave_in_the_middle() {
    referee_.tally().count_fault(fault_kinds[2]);
    const Outcome outcome = tester_.exchange(slow_request(), true);
    const std::string failed = tester_.connect();
    if (!failed.empty()) referee_.tally().fail("the tester that left could not come back: " + failed);
    (void)outcome;
}

bool Fault_injector::held_call_service_found(Milliseconds bound) {
    const Time deadline = Clock::now() + bound;
    Bytes results = held_call_request();
    results.resize(4);
    results[1] = 0x03;
    do {
        const Outcome outcome = tester_.exchange(results);
        if (outcome.kind != Outcome::Kind::negative || outcome.nrc != 0x10) return true;
        std::this_thread::sleep_for(Milliseconds(20));
    } while (Clock::now() < deadline);
    return false;
}

void Fault_injector::hold_until_timeout() {
    // After a restart or an offer the host may not have found the service yet, and would end the
    // call at once: the fault is only a held call once the service is there.
    if (!held_call_service_found(Milliseconds(10000))) {
        referee_.tally().fail("the held call's service was not found again within 10 s");
        return;
    }
    referee_.tally().count_fault(fault_kinds[3]);
    const Time sent = Clock::now();
    const Outcome outcome = tester_.exchange(held_call_request(), false, true);
    const Milliseconds took = std::chrono::duration_cast<Milliseconds>(Clock::now() - sent);
    if (outcome.kind == Outcome::Kind::negative && took < request_timeout_ * 9 / 10) {
        referee_.tally().fail("the held call ended after " + std::to_string(took.count()) + " ms, before the " +
                              std::to_string(request_timeout_.count()) + " ms of the request time-out");
    }
}

bool Fault_injector::recovered(Milliseconds bound) {
    const Time deadline = Clock::now() + bound;
    for (const Bytes& request : recovery_requests()) {
        for (;;) {
            if (tester_.exchange(request).kind == Outcome::Kind::positive) break;
            if (Clock::now() >= deadline) {
                referee_.tally().fail("no positive answer to " + hex_text(request) + " within " +
                                      std::to_string(bound.count()) + " ms after the faults");
                return false;
            }
            // Busy (0x21) or a routine's work still running (0x22): the testers ask for the same.
            std::this_thread::sleep_for(Milliseconds(10));
        }
    }
    return true;
}

}  // namespace zevo::soak
