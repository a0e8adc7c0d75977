#include "sim/data_identifier_records.h"

namespace zevo::sim {

template <>
diag::d_2c55::DataIdentifier_ZevoZevovin::Read::Output read_record<diag::d_2c55::DataIdentifier_ZevoZevovin>(
    const Key_world& world) {
    diag::d_2c55::DataIdentifier_ZevoZevovin::Read::Output output{};
    output.field_1 = {world.identity_version};
    output.field_2 = world.vehicle_identity;
    return output;
}

template <>
diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output
read_record<diag::d_2c56::DataIdentifier_ZevoTrainingCounter>(const Key_world& world) {
    diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output output{};
    output.field_1 = static_cast<std::uint8_t>(world.training);
    output.field_2 = world.training_counter;
    return output;
}

template <>
diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory::Read::Output
read_record<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory>(const Key_world& world) {
    diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory::Read::Output output{};
    output.field_1 = world.missing_reports;
    output.field_2 = Key_world::missing_history_capacity;
    output.field_3 = world.missing_key_bytes();
    return output;
}

template <>
diag::d_2c60::DataIdentifier_ZevoKeyList::Read::Output read_record<diag::d_2c60::DataIdentifier_ZevoKeyList>(
    const Key_world& world) {
    diag::d_2c60::DataIdentifier_ZevoKeyList::Read::Output output{};
    output.field_1 = Key_world::key_slots;
    output.field_2 = static_cast<std::uint8_t>(world.keys.size());
    output.field_3 = world.key_list_bytes();
    return output;
}

}  // namespace zevo::sim
