#pragma once
// What a DoIP entity is and how it behaves: where it listens, its identity (logical address,
// VIN, EID, GID), which testers it accepts and its limits and timers. A plain record; the
// defaults are those of a bench entity on the local machine.

#include <chrono>
#include <cstdint>
#include <string>

#include "host/doip/doip_types.h"
#include "host/doip/frame_codec.h"

namespace zevo::doip {

struct Entity_config {
    std::string address = "127.0.0.1";     // TCP and UDP are bound here
    std::uint16_t port = default_port;     // TCP and UDP; 0: a free port, the same for both
    std::uint16_t logical_address = 0x0010;
    Vin vin = {'Z', 'E', 'V', 'O', 'B', 'E', 'N', 'C', 'H', '0', '0', '0', '0', '0', '0', '0', '1'};
    Entity_id eid = {0x02, 0x5A, 0x45, 0x56, 0x4F, 0x01};
    Entity_id gid = {0x02, 0x5A, 0x45, 0x56, 0x4F, 0x01};
    std::uint8_t further_action = 0x00;     // 0x10: central security activation needed
    std::uint16_t tester_min = 0x0E00;      // accepted tester source addresses, inclusive
    std::uint16_t tester_max = 0x0FFF;
    std::uint16_t functional_address = 0xE400;
    std::uint8_t max_testers = 4;           // sockets with an activated tester at once
    std::uint32_t max_data_size = 4096;     // UDS bytes of one diagnostic message (else NACK 0x04)
    std::uint32_t max_payload = 65536;      // DoIP payload bytes of one message (else generic 0x02)
    std::uint64_t memory_budget = 1 << 20;  // payload bytes buffered at once, all testers (else 0x03)
    std::size_t max_send_queue = 1 << 20;   // bytes queued to one tester that does not read: close (also
                                            // the socket's send buffer)
    std::uint8_t protocol_version = version::iso_2012;  // announcements, answers to version 0xFF
    bool announce = true;                    // three announcements after start
    std::string announce_address = "255.255.255.255";
    std::uint16_t announce_port = default_port;
    bool announce_random_wait = true;        // wait 0-500 ms before the first announcement
    std::chrono::milliseconds initial_inactivity = timing::initial_inactivity;
    std::chrono::milliseconds general_inactivity = timing::general_inactivity;
    std::chrono::milliseconds alive_check_timeout = timing::alive_check;
};

}  // namespace zevo::doip
