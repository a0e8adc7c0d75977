// The routines around hashes: 0xC00B (check a verification hash), 0xC00C (identity hash over a
// challenge) and 0xC00D (PSS hash).

#include "sim/response_codes.h"
#include "sim/routine_logic.h"

namespace zevo::sim {
namespace {

constexpr std::uint8_t identity_hash_kind = 0x01;
constexpr std::uint8_t identity_hash_domain = 0x10;  // apart from the PSS kinds 0x01 and 0x02

template <class Output>
Output hash_output(Routine_progress progress, const Hash16& hash) {
    Output output{};
    output.field_1 = {static_cast<std::uint8_t>(progress.status)};
    output.field_2 = {progress.percent};
    output.field_3 = progress.status == Routine_status::completed ? hash : Hash16{};
    return output;
}

}  // namespace

std::optional<Hash16> pss_hash(const Key_world& world, std::uint8_t kind) {
    switch (static_cast<Hash_kind>(kind)) {
        case Hash_kind::key_list: return digest16(kind, world.key_list_bytes());
        case Hash_kind::identity: return digest16(kind, world.identity_bytes());
    }
    return std::nullopt;
}

Hash16 identity_hash(const Key_world& world, const std::array<std::uint8_t, 16>& challenge) {
    std::vector<std::uint8_t> material = world.identity_bytes();
    material.insert(material.end(), challenge.begin(), challenge.end());
    return digest16(identity_hash_domain, material);
}

std::optional<std::uint8_t> Verification_hash_logic::accept(const Key_world& world,
                                                            const std::array<std::uint8_t, 1>& kind,
                                                            const std::array<std::uint8_t, 16>& hash) {
    if (!pss_hash(world, kind[0])) return nrc::request_out_of_range;
    kind_ = kind[0];
    hash_ = hash;
    return std::nullopt;
}

bool Verification_hash_logic::finish(Key_world& world) { return pss_hash(world, kind_) == hash_; }

Verification_hash_logic::Interface::RequestResults::Output Verification_hash_logic::output(
    Routine_progress progress) const {
    Interface::RequestResults::Output output{};
    output.field_1 = static_cast<std::uint8_t>(progress.status);
    output.field_2 = progress.percent;
    return output;
}

std::optional<std::uint8_t> Identity_hash_logic::accept(const Key_world& /*world*/,
                                                        const std::array<std::uint8_t, 1>& kind,
                                                        const std::array<std::uint8_t, 16>& challenge) {
    if (kind[0] != identity_hash_kind) return nrc::request_out_of_range;
    challenge_ = challenge;
    return std::nullopt;
}

bool Identity_hash_logic::finish(Key_world& world) {
    hash_ = identity_hash(world, challenge_);
    return true;
}

Identity_hash_logic::Interface::RequestResults::Output Identity_hash_logic::output(Routine_progress progress) const {
    return hash_output<Interface::RequestResults::Output>(progress, hash_);
}

std::optional<std::uint8_t> Pss_hash_logic::accept(const Key_world& world, std::uint8_t kind) {
    if (!pss_hash(world, kind)) return nrc::request_out_of_range;
    kind_ = kind;
    return std::nullopt;
}

bool Pss_hash_logic::finish(Key_world& world) {
    hash_ = pss_hash(world, kind_).value_or(Hash16{});
    return true;
}

Pss_hash_logic::Interface::RequestResults::Output Pss_hash_logic::output(Routine_progress progress) const {
    return hash_output<Interface::RequestResults::Output>(progress, hash_);
}

}  // namespace zevo::sim
