#include "sim/key_world.h"

#include <algorithm>

namespace zevo::sim {
namespace {

template <class Container>
std::vector<std::uint8_t> big_endian_bytes(const Container& keys) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(keys.size() * 2);
    for (std::uint16_t key : keys) {
        bytes.push_back(static_cast<std::uint8_t>(key >> 8));
        bytes.push_back(static_cast<std::uint8_t>(key & 0xFF));
    }
    return bytes;
}

bool taught(const std::vector<std::uint16_t>& keys, std::uint16_t key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

}  // namespace

std::vector<std::uint8_t> Key_world::key_list_bytes() const { return big_endian_bytes(keys); }

std::vector<std::uint8_t> Key_world::missing_key_bytes() const { return big_endian_bytes(missing_keys); }

std::vector<std::uint8_t> Key_world::identity_bytes() const {
    std::vector<std::uint8_t> bytes(1 + vehicle_identity.size());
    bytes[0] = identity_version;
    std::copy(vehicle_identity.begin(), vehicle_identity.end(), bytes.begin() + 1);
    return bytes;
}

bool Key_world::can_teach(const std::vector<std::uint16_t>& candidates) const {
    std::vector<std::uint16_t> after = keys;
    for (std::uint16_t key : candidates) {
        if (!taught(after, key)) after.push_back(key);
    }
    return after.size() <= key_slots;
}

std::size_t Key_world::teach(const std::vector<std::uint16_t>& candidates) {
    std::size_t added = 0;
    for (std::uint16_t key : candidates) {
        if (taught(keys, key)) continue;
        keys.push_back(key);
        ++training_counter;
        ++added;
    }
    return added;
}

std::size_t Key_world::erase(const std::vector<std::uint16_t>& candidates) {
    const std::size_t before = keys.size();
    keys.erase(std::remove_if(keys.begin(), keys.end(), [&](std::uint16_t key) { return taught(candidates, key); }),
               keys.end());
    return before - keys.size();
}

void Key_world::report_missing(std::uint16_t key) {
    if (missing_reports < 0xFF) ++missing_reports;
    missing_keys.push_back(key);
    while (missing_keys.size() > missing_history_capacity) missing_keys.pop_front();
}

std::vector<std::uint16_t> key_identifiers(const std::vector<std::uint8_t>& bytes) {
    std::vector<std::uint16_t> keys;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        keys.push_back(static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]));
    }
    return keys;
}

}  // namespace zevo::sim
