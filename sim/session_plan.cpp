// The default session over a fresh simulator with default_session_scenario(): routines work for
// no time, so each results request finds its routine finished; the expected bytes follow the
// tables of sim/README.md.

#include "sim/session_plan.h"

#include <utility>


namespace zevo::sim {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t read_sid = 0x22;
constexpr std::uint8_t routine_sid = 0x31;
constexpr std::uint8_t positive = 0x40;
constexpr std::uint8_t negative_sid = 0x7F;
constexpr std::uint8_t start_routine = 0x01;
constexpr std::uint8_t request_results = 0x03;

/// The routine whose first Start the simulator holds until the job is cancelled.
constexpr std::uint16_t held_routine = 0x0648;

Bytes operator+(Bytes head, const Bytes& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

Bytes id_bytes(std::uint16_t identifier) {
    return {static_cast<std::uint8_t>(identifier >> 8), static_cast<std::uint8_t>(identifier & 0xFF)};
}

Bytes read_request(std::uint16_t did) { return Bytes{read_sid} + id_bytes(did); }
Bytes read_answer(std::uint16_t did, const Bytes& record) { return Bytes{read_sid + positive} + id_bytes(did) + record; }
Bytes start_request(std::uint16_t rid, const Bytes& options) { return Bytes{routine_sid, start_routine} + id_bytes(rid) + options; }
Bytes start_answer(std::uint16_t rid) { return Bytes{routine_sid + positive, start_routine} + id_bytes(rid); }
Bytes results_request(std::uint16_t rid) { return Bytes{routine_sid, request_results} + id_bytes(rid); }
Bytes results_answer(std::uint16_t rid, const Bytes& record) {
    return Bytes{routine_sid + positive, request_results} + id_bytes(rid) + record;
}
Bytes refusal(std::uint8_t sid, std::uint8_t code) { return {negative_sid, sid, code}; }

Session_step send(std::string title, Bytes request, Bytes expected) {
    Session_step step;
    step.title = std::move(title);
    step.request = std::move(request);
    step.expected = std::move(expected);
    return step;
}

Session_step special(Session_step::Kind kind, std::uint16_t identifier, Method method, Session_step step) {
    step.kind = kind;
    step.identifier = identifier;
    step.method = method;
    return step;
}

const Bytes completed{0x02, 0x64};  // status completed, 100 %

const Bytes challenge{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

// The identity hash of the fresh identity record over `challenge`.
const Bytes identity_hash_of_challenge{0x45, 0xEE, 0x16, 0xE5, 0xAD, 0x5D, 0x9E, 0x40,
                                       0x33, 0x39, 0x1A, 0xFA, 0xDE, 0x85, 0xB6, 0xCC};

// The key-list PSS hash of the keys 0x1A01, 0x1A02, 0x1020.
const Bytes key_list_hash_after_teaching{0x7A, 0x29, 0x32, 0xBA, 0x91, 0xFF, 0x4A, 0xE0,
                                         0xC8, 0xE2, 0x91, 0x4C, 0x48, 0x39, 0x96, 0x37};

}  // namespace

std::vector<Session_step> default_session() {
    using Kind = Session_step::Kind;
    const Bytes vehicle_identity{'Z', 'E', 'V', 'O', 'S', 'I', 'M', '1', '2', '3', '4', '5', '6', '7', '8', '9', '0'};
    return {
        send("read 0x2C55 identity record", read_request(0x2C55), read_answer(0x2C55, Bytes{0x01} + vehicle_identity)),
        send("read 0x2C56 training counter", read_request(0x2C56), read_answer(0x2C56, {0x00, 0x00, 0x02})),
        send("read 0x2C57 missing-key history", read_request(0x2C57), read_answer(0x2C57, {0x00, 0x04})),
        send("read 0x2C60 key list", read_request(0x2C60), read_answer(0x2C60, {0x08, 0x02, 0x1A, 0x01, 0x1A, 0x02})),
        send("results of 0xC00F before any start: requestSequenceError", results_request(0xC00F),
             refusal(routine_sid, 0x24)),
        special(Kind::send_and_cancel, held_routine, Method::start,
                send("start 0x0648 held by the service until the job is cancelled",
                     start_request(held_routine, {0x01, 0xCA, 0xFE}), start_answer(held_routine))),
        send("start 0x0648 echo", start_request(0x0648, {0x01, 0xDE, 0xAD}), start_answer(0x0648)),
        send("results of 0x0648: the echo", results_request(0x0648), results_answer(0x0648, completed + Bytes{0xDE, 0xAD})),
        send("start 0xC00A teaching key 0x1020", start_request(0xC00A, {0x01, 0x10, 0x20}), start_answer(0xC00A)),
        send("results of 0xC00A", results_request(0xC00A), results_answer(0xC00A, completed)),
        send("read 0x2C60 with the taught key", read_request(0x2C60),
             read_answer(0x2C60, {0x08, 0x03, 0x1A, 0x01, 0x1A, 0x02, 0x10, 0x20})),
        send("read 0x2C56 after teaching", read_request(0x2C56), read_answer(0x2C56, {0x00, 0x00, 0x03})),
        send("start 0xC00D key-list PSS hash", start_request(0xC00D, {0x01}), start_answer(0xC00D)),
        send("results of 0xC00D", results_request(0xC00D),
             results_answer(0xC00D, completed + key_list_hash_after_teaching)),
        send("start 0xC00B checking that hash", start_request(0xC00B, Bytes{0x01} + key_list_hash_after_teaching),
             start_answer(0xC00B)),
        send("results of 0xC00B: verified", results_request(0xC00B), results_answer(0xC00B, completed)),
        send("start 0xC00C identity hash", start_request(0xC00C, Bytes{0x01} + challenge), start_answer(0xC00C)),
        send("results of 0xC00C", results_request(0xC00C), results_answer(0xC00C, completed + identity_hash_of_challenge)),
        send("start 0xC00F", start_request(0xC00F, {0x00}), start_answer(0xC00F)),
        send("results of 0xC00F: the key state", results_request(0xC00F),
             results_answer(0xC00F, completed + Bytes{0x08, 0x03, 0x00, 0x00, 0x00, 0x00, 0x03, 0x01, 0x00})),
        send("start 0xC00D with an unknown hash kind: requestOutOfRange", start_request(0xC00D, {0x07}),
             refusal(routine_sid, 0x31)),
        send("start 0xC00C with 2 of its 17 bytes: incorrectMessageLengthOrInvalidFormat",
             start_request(0xC00C, {0x01, 0x02}), refusal(routine_sid, 0x13)),
        send("read of the unserved 0x2C58", read_request(0x2C58), refusal(read_sid, 0x31)),
        special(Kind::withdraw_then_send, 0x2C56, Method::read_or_results,
                send("read 0x2C56 while withdrawn: generalReject", read_request(0x2C56), refusal(read_sid, 0x10))),
        special(Kind::offer_then_send, 0x2C56, Method::read_or_results,
                send("read 0x2C56 offered again", read_request(0x2C56), read_answer(0x2C56, {0x00, 0x00, 0x03}))),
    };
}

Scenario default_session_scenario() {
    Scenario scenario;
    scenario.routine_duration = std::chrono::milliseconds{0};
    Fault held_start;
    held_start.identifier = held_routine;
    held_start.method = Method::start;
    held_start.hold_until_cancel = true;
    held_start.times = 1;
    scenario.faults.push_back(held_start);
    return scenario;
}

}  // namespace zevo::sim
