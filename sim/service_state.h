#pragma once
// The behaviour of the ten simulated services over one key state, written once for all
// interfaces: decodes a request and lets a data identifier's record or a routine answer. Used
// under the simulator's lock on runtime threads; throws std::bad_alloc only (bad requests: 0x09).

#include <chrono>
#include <cstdint>
#include <exception>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "sim/clock.h"
#include "sim/data_identifier_records.h"
#include "sim/key_world.h"
#include "sim/routine.h"
#include "sim/routine_logic.h"
#include "sim/scenario.h"
#include "sim/service_answer.h"
#include "someip/service_payload.h"

namespace zevo::sim {

/// Return codes of calls that the simulated service cannot take at all.
namespace call_code {
inline constexpr std::uint8_t unknown_method = 0x03;     ///< no such method on this interface
inline constexpr std::uint8_t malformed_request = 0x09;  ///< the request payload does not decode
}  // namespace call_code

template <class Interface, class = void>
struct is_routine : std::false_type {};
template <class Interface>
struct is_routine<Interface, std::void_t<typename Interface::Start>> : std::true_type {};

class Service_state {
public:
    /// `clock` empty: steady_clock. A negative duration counts as 0.
    Service_state(Sim_clock clock, std::chrono::milliseconds routine_duration);

    /// The answer of `Interface` to one call of `method` with `request`.
    template <class Interface>
    Answer serve(Method method, const std::vector<std::uint8_t>& request) {
        const Sim_time now = clock_();
        advance(now);
        try {
            return answer<Interface>(method, request, now);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception&) {  // the decoders' out_of_range, invalid_argument, overflow_error
            return Answer{call_code::malformed_request, {}, {}};
        }
    }

    const Key_world& world() const noexcept { return world_; }

private:
    using Routines = std::tuple<Routine<Debug_logic>, Routine<Download_container_logic>,
                                Routine<Verification_hash_logic>, Routine<Identity_hash_logic>,
                                Routine<Pss_hash_logic>, Routine<State_logic>>;

    template <class Method_tag>
    static auto arguments(const std::vector<std::uint8_t>& request) {
        return ruv::com::someip::serialization::deserialize_arguments<Method_tag>(request);
    }

    template <class Interface>
    Routine<Logic_of_t<Interface>>& routine() {
        return std::get<Routine<Logic_of_t<Interface>>>(routines_);
    }

    template <class Interface>
    Answer answer(Method method, const std::vector<std::uint8_t>& request, Sim_time now) {
        constexpr bool routine_service = is_routine<Interface>::value;
        switch (method) {
            case Method::cancel:
                arguments<typename Interface::Cancel>(request);
                if constexpr (routine_service) routine<Interface>().cancel(world_, now);
                return accepted();
            case Method::read_or_results:
                if constexpr (routine_service) {
                    arguments<typename Interface::RequestResults>(request);
                    auto results = routine<Interface>().results(now);
                    if (const auto* refused = std::get_if<std::uint8_t>(&results)) {
                        return application_error(*refused, true);
                    }
                    return positive(std::get<0>(results));
                } else {
                    arguments<typename Interface::Read>(request);
                    return positive(read_record<Interface>(world_));
                }
            case Method::start:
                if constexpr (routine_service) {
                    return start<Interface>(arguments<typename Interface::Start>(request), now);
                }
                break;
        }
        return Answer{call_code::unknown_method, {}, {}};
    }

    template <class Interface, class Decoded>
    Answer start(const Decoded& decoded, Sim_time now) {
        const auto refused = std::apply(
            [&](const auto& /*meta_info*/, const auto&... rest) {
                return routine<Interface>().start(world_, now, routine_duration_, rest...);
            },
            decoded);
        return refused ? application_error(*refused, true) : accepted();
    }

    /// Ends the work of every routine whose time has come, in table order.
    void advance(Sim_time now);

    Sim_clock clock_;
    std::chrono::milliseconds routine_duration_;
    Key_world world_;
    Routines routines_;
};

}  // namespace zevo::sim
