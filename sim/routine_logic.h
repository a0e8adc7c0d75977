#pragma once
// What each of the six simulated routines checks at Start, does when its work ends and reports
// in its results (the table is in sim/README.md). One Logic per routine, run by Routine<Logic>
// under the simulator's lock; Logic_of<Interface> finds it. Throws std::bad_alloc only.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHash.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"
#include "sim/digest.h"
#include "sim/key_world.h"
#include "sim/routine.h"

namespace zevo::sim {

namespace diag = talm::services::diag;

/// The kinds of hash that 0xC00B checks and 0xC00D computes.
enum class Hash_kind : std::uint8_t { key_list = 0x01, identity = 0x02 };

/// The hash 0xC00D reports for `kind` and 0xC00B checks against; empty for an unknown kind.
std::optional<Hash16> pss_hash(const Key_world& world, std::uint8_t kind);

/// The hash 0xC00C reports: the identity record and the tester's challenge, in their own domain.
Hash16 identity_hash(const Key_world& world, const std::array<std::uint8_t, 16>& challenge);

/// Logic of every routine: nothing to mark while running, nothing to undo.
struct Plain_logic {
    void begin(Key_world&) {}
    void abort(Key_world&) {}
};

/// 0x0648: debug commands. 0x01 echo the data; 0x02 report the key in the data (2 bytes) as
/// missing; 0x03 factory reset (no data). Unknown command 0x31, wrong data length 0x13.
struct Debug_logic : Plain_logic {
    using Interface = diag::r_0648::RoutineService_ZevoDebug;
    enum Command : std::uint8_t { echo = 0x01, report_missing_key = 0x02, factory_reset = 0x03 };

    std::optional<std::uint8_t> accept(const Key_world& world, std::uint8_t command,
                                       const std::vector<std::uint8_t>& data);
    bool finish(Key_world& world);
    Interface::RequestResults::Output output(Routine_progress progress) const;

    std::uint8_t command_ = 0;
    std::vector<std::uint8_t> data_;
    std::vector<std::uint8_t> result_;  ///< reported once completed
};

/// 0xC00A: a key container. Type 0x01 teaches, 0x02 erases the keys it lists (2 bytes each).
/// Unknown type 0x31, empty or odd container 0x13. Fails when the keys do not fit, or none of
/// the keys to erase is taught.
struct Download_container_logic {
    using Interface = diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer;
    enum Container_type : std::uint8_t { teach_keys = 0x01, erase_keys = 0x02 };

    std::optional<std::uint8_t> accept(const Key_world& world, std::uint8_t type,
                                       const std::vector<std::uint8_t>& container);
    void begin(Key_world& world);
    bool finish(Key_world& world);
    void abort(Key_world& world);
    Interface::RequestResults::Output output(Routine_progress progress) const;

    std::uint8_t type_ = 0;
    std::vector<std::uint16_t> keys_;
};

/// 0xC00B: checks a hash of kind 0x01 (key list) or 0x02 (identity) against the one 0xC00D
/// gives now. Other kinds 0x31. Completes when equal, fails otherwise.
struct Verification_hash_logic : Plain_logic {
    using Interface = diag::r_c00b::RoutineService_ZevoCheckVerificationHash;

    std::optional<std::uint8_t> accept(const Key_world& world, const std::array<std::uint8_t, 1>& kind,
                                       const std::array<std::uint8_t, 16>& hash);
    bool finish(Key_world& world);
    Interface::RequestResults::Output output(Routine_progress progress) const;

    std::uint8_t kind_ = 0;
    Hash16 hash_{};
};

/// 0xC00C: the identity hash over a 16-byte challenge; kind 0x01 only, others 0x31.
struct Identity_hash_logic : Plain_logic {
    using Interface = diag::r_c00c::RoutineService_ZevoGetIdentityHash;

    std::optional<std::uint8_t> accept(const Key_world& world, const std::array<std::uint8_t, 1>& kind,
                                       const std::array<std::uint8_t, 16>& challenge);
    bool finish(Key_world& world);
    Interface::RequestResults::Output output(Routine_progress progress) const;

    std::array<std::uint8_t, 16> challenge_{};
    Hash16 hash_{};  ///< zeros until completed
};

/// 0xC00D: the PSS hash of kind 0x01 (key list) or 0x02 (identity); others 0x31.
struct Pss_hash_logic : Plain_logic {
    using Interface = diag::r_c00d::RoutineService_ZevoGetPssHash;

    std::optional<std::uint8_t> accept(const Key_world& world, std::uint8_t kind);
    bool finish(Key_world& world);
    Interface::RequestResults::Output output(Routine_progress progress) const;

    std::uint8_t kind_ = 0;
    Hash16 hash_{};  ///< zeros until completed
};

/// 0xC00F: a snapshot of the key state; selector 0x00 only, others 0x31.
struct State_logic : Plain_logic {
    using Interface = diag::r_c00f::RoutineService_ZevoGetState;

    std::optional<std::uint8_t> accept(const Key_world& world, std::uint8_t selector);
    bool finish(Key_world& world);
    Interface::RequestResults::Output output(Routine_progress progress) const;

    std::uint8_t selector_ = 0;
    Key_world snapshot_;  ///< the state when the work ended
};

template <class Interface>
struct Logic_of;
template <>
struct Logic_of<Debug_logic::Interface> { using type = Debug_logic; };
template <>
struct Logic_of<Download_container_logic::Interface> { using type = Download_container_logic; };
template <>
struct Logic_of<Verification_hash_logic::Interface> { using type = Verification_hash_logic; };
template <>
struct Logic_of<Identity_hash_logic::Interface> { using type = Identity_hash_logic; };
template <>
struct Logic_of<Pss_hash_logic::Interface> { using type = Pss_hash_logic; };
template <>
struct Logic_of<State_logic::Interface> { using type = State_logic; };

template <class Interface>
using Logic_of_t = typename Logic_of<Interface>::type;

}  // namespace zevo::sim
