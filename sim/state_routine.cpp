// The routine 0xC00F: a snapshot of the key state.

#include "sim/response_codes.h"
#include "sim/routine_logic.h"

namespace zevo::sim {
namespace {

constexpr std::uint8_t whole_vehicle = 0x00;

}  // namespace

std::optional<std::uint8_t> State_logic::accept(const Key_world& /*world*/, std::uint8_t selector) {
    if (selector != whole_vehicle) return nrc::request_out_of_range;
    selector_ = selector;
    return std::nullopt;
}

bool State_logic::finish(Key_world& world) {
    snapshot_ = world;
    return true;
}

State_logic::Interface::RequestResults::Output State_logic::output(Routine_progress progress) const {
    Interface::RequestResults::Output output{};
    output.field_1 = static_cast<std::uint8_t>(progress.status);
    output.field_2 = progress.percent;
    if (progress.status != Routine_status::completed) return output;
    output.field_3 = Key_world::key_slots;
    output.field_4 = static_cast<std::uint8_t>(snapshot_.keys.size());
    output.field_5 = static_cast<std::uint8_t>(snapshot_.training);
    output.field_6 = snapshot_.missing_reports;
    output.field_7 = static_cast<std::uint8_t>(snapshot_.missing_keys.size());
    output.field_8 = snapshot_.training_counter;
    output.field_9 = snapshot_.identity_version;
    output.field_10 = selector_;
    return output;
}

}  // namespace zevo::sim
