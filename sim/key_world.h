#pragma once
// The simulated vehicle's key state that the ten services share: the identity record, the taught
// keys, the training counter and the missing-key history. Plain data with the operations the
// routines apply; the simulator guards it with its lock. Throws nothing but std::bad_alloc.

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace zevo::sim {

/// What 0x2C56 reports as its first byte while a key container is being worked on.
enum class Training_status : std::uint8_t { idle = 0x00, programming = 0x01 };

struct Key_world {
    static constexpr std::uint8_t key_slots = 8;                 ///< keys the vehicle can hold
    static constexpr std::uint8_t missing_history_capacity = 4;  ///< reports the history keeps

    std::uint8_t identity_version = 0x01;  ///< first byte of the 0x2C55 record
    /// The 17-character vehicle identification, ASCII.
    std::array<std::uint8_t, 17> vehicle_identity{'Z', 'E', 'V', 'O', 'S', 'I', 'M', '1', '2',
                                                  '3', '4', '5', '6', '7', '8', '9', '0'};
    std::vector<std::uint16_t> keys{0x1A01, 0x1A02};  ///< taught keys, in teaching order
    std::uint16_t training_counter = 2;               ///< keys taught over the vehicle's life
    Training_status training = Training_status::idle;
    std::uint8_t missing_reports = 0;         ///< missing-key reports ever made, saturating at 255
    std::deque<std::uint16_t> missing_keys;   ///< the latest reported keys, oldest first

    /// The taught keys as bytes, two per key, high byte first.
    std::vector<std::uint8_t> key_list_bytes() const;
    /// The latest missing keys as bytes, two per key, high byte first.
    std::vector<std::uint8_t> missing_key_bytes() const;
    /// identity_version and the 17 identification bytes: 18 bytes.
    std::vector<std::uint8_t> identity_bytes() const;

    /// Whether teaching `candidates` fits: taught keys and new distinct ones at most key_slots.
    bool can_teach(const std::vector<std::uint16_t>& candidates) const;
    /// Teaches the keys not taught yet (each counts once on training_counter); how many.
    std::size_t teach(const std::vector<std::uint16_t>& candidates);
    /// Erases the taught keys among `candidates`; how many.
    std::size_t erase(const std::vector<std::uint16_t>& candidates);
    /// Adds a report of `key` to the history (dropping the oldest beyond the capacity).
    void report_missing(std::uint16_t key);
};

/// Reads big-endian 16-bit key identifiers; `bytes` must have an even size.
std::vector<std::uint16_t> key_identifiers(const std::vector<std::uint8_t>& bytes);

}  // namespace zevo::sim
