#pragma once
// The Read records of the four simulated data identifiers, taken from the key state (the byte
// table is in sim/README.md). Called under the simulator's lock on runtime threads. Throws
// std::bad_alloc only.

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "sim/key_world.h"

namespace zevo::sim {

namespace diag = talm::services::diag;

/// The Read::Output of `Interface` for the state `world`; one definition per data identifier.
template <class Interface>
typename Interface::Read::Output read_record(const Key_world& world);

template <>
diag::d_2c55::DataIdentifier_ZevoZevovin::Read::Output read_record<diag::d_2c55::DataIdentifier_ZevoZevovin>(
    const Key_world& world);
template <>
diag::d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output
read_record<diag::d_2c56::DataIdentifier_ZevoTrainingCounter>(const Key_world& world);
template <>
diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory::Read::Output
read_record<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory>(const Key_world& world);
template <>
diag::d_2c60::DataIdentifier_ZevoKeyList::Read::Output read_record<diag::d_2c60::DataIdentifier_ZevoKeyList>(
    const Key_world& world);

}  // namespace zevo::sim
