// The routines that change the key state: 0x0648 (debug commands) and 0xC00A (key containers).

#include "sim/response_codes.h"
#include "sim/routine_logic.h"

namespace zevo::sim {

std::optional<std::uint8_t> Debug_logic::accept(const Key_world& /*world*/, std::uint8_t command,
                                                const std::vector<std::uint8_t>& data) {
    switch (command) {
        case echo: break;
        case report_missing_key:
            if (data.size() != 2) return nrc::incorrect_length;
            break;
        case factory_reset:
            if (!data.empty()) return nrc::incorrect_length;
            break;
        default: return nrc::request_out_of_range;
    }
    command_ = command;
    data_ = data;
    return std::nullopt;
}

bool Debug_logic::finish(Key_world& world) {
    switch (command_) {
        case echo: result_ = data_; break;
        case report_missing_key:
            world.report_missing(key_identifiers(data_).front());
            result_ = {world.missing_reports};
            break;
        case factory_reset: world = Key_world{}; break;
        default: break;
    }
    return true;
}

Debug_logic::Interface::RequestResults::Output Debug_logic::output(Routine_progress progress) const {
    Interface::RequestResults::Output output{};
    output.field_1 = static_cast<std::uint8_t>(progress.status);
    output.field_2 = progress.percent;
    if (progress.status == Routine_status::completed) output.field_3 = result_;
    return output;
}

std::optional<std::uint8_t> Download_container_logic::accept(const Key_world& /*world*/, std::uint8_t type,
                                                             const std::vector<std::uint8_t>& container) {
    if (type != teach_keys && type != erase_keys) return nrc::request_out_of_range;
    if (container.empty() || container.size() % 2 != 0) return nrc::incorrect_length;
    type_ = type;
    keys_ = key_identifiers(container);
    return std::nullopt;
}

void Download_container_logic::begin(Key_world& world) { world.training = Training_status::programming; }

bool Download_container_logic::finish(Key_world& world) {
    world.training = Training_status::idle;
    if (type_ == teach_keys) {
        if (!world.can_teach(keys_)) return false;
        world.teach(keys_);
        return true;
    }
    return world.erase(keys_) > 0;
}

void Download_container_logic::abort(Key_world& world) { world.training = Training_status::idle; }

Download_container_logic::Interface::RequestResults::Output Download_container_logic::output(
    Routine_progress progress) const {
    Interface::RequestResults::Output output{};
    output.field_1 = static_cast<std::uint8_t>(progress.status);
    output.field_2 = progress.percent;
    return output;
}

}  // namespace zevo::sim
