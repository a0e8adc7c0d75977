#pragma once
// Calls on an extension object the way a host that knows no class of the plug-in makes them:
// through numbered slots of the virtual table, under the Itanium C++ ABI that GCC and Clang
// follow on x86-64. The object's first word points at slot 0 of its virtual table; the word
// before slot 0 is the object's type_info, the one before that the offset from this sub-object
// to the complete object. A virtual function is an ordinary function whose first argument is
// `this`, so each slot is called as a plain function taking `void* self` first. Results are one
// byte, returned in AL. All calls run on the caller's thread.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <typeinfo>
#include <vector>

#include "loaded_plugin.h"

namespace contract_probe {

using Meta_info = std::map<std::string, std::string>;
using Bytes = std::vector<std::uint8_t>;

/// Slots every extension has, in the order of its root class.
namespace slot {
constexpr std::size_t complete_destructor = 0;  ///< destroys, leaves the memory
constexpr std::size_t deleting_destructor = 1;  ///< destroys and releases the memory
constexpr std::size_t attach = 2;
constexpr std::size_t detach = 3;
}  // namespace slot

/// Slots a data identifier's extension adds behind the root's.
namespace did_slot {
constexpr std::size_t read = 4;
constexpr std::size_t write = 5;
constexpr std::size_t cancel = 6;
}  // namespace did_slot

/// Slots a routine's extension adds behind the root's.
namespace rid_slot {
constexpr std::size_t start = 4;
constexpr std::size_t stop = 5;
constexpr std::size_t request_results = 6;
constexpr std::size_t cancel = 7;
}  // namespace rid_slot

namespace raw {

using Destructor = void (*)(void* self);
using Attach = void (*)(void* self, const std::string& instance);
using Detach = void (*)(void* self);
using Data_job = std::uint8_t (*)(void* self, const Meta_info& meta_info, Bytes& bytes);
using Routine_job = std::uint8_t (*)(void* self, Bytes& request, const Meta_info& meta_info, Bytes& response);
using Cancel = std::uint8_t (*)(void* self, const Meta_info& meta_info);

/// The virtual table as the object's first word designates it: index 0 is slot 0.
inline void* const* virtual_table(void* self) { return *static_cast<void* const* const*>(self); }

template <class Function>
Function slot_of(void* self, std::size_t index) {
    return reinterpret_cast<Function>(virtual_table(self)[index]);
}

/// The distance from this sub-object to the start of the complete object (0 at the start).
inline std::ptrdiff_t offset_to_top(void* self) {
    return reinterpret_cast<std::ptrdiff_t>(virtual_table(self)[-2]);
}

/// The complete object's type_info, from the word in front of slot 0.
inline const std::type_info& dynamic_type(void* self) {
    return *static_cast<const std::type_info*>(virtual_table(self)[-1]);
}

ZEVO_PROBE_FOREIGN_CALL inline void complete_destructor(void* self) {
    slot_of<Destructor>(self, slot::complete_destructor)(self);
}
ZEVO_PROBE_FOREIGN_CALL inline void deleting_destructor(void* self) {
    slot_of<Destructor>(self, slot::deleting_destructor)(self);
}
ZEVO_PROBE_FOREIGN_CALL inline void attach(void* self, const std::string& instance) {
    slot_of<Attach>(self, slot::attach)(self, instance);
}
ZEVO_PROBE_FOREIGN_CALL inline void detach(void* self) { slot_of<Detach>(self, slot::detach)(self); }

ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t read(void* self, const Meta_info& meta_info, Bytes& response) {
    return slot_of<Data_job>(self, did_slot::read)(self, meta_info, response);
}
ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t write(void* self, const Meta_info& meta_info, Bytes& data) {
    return slot_of<Data_job>(self, did_slot::write)(self, meta_info, data);
}
ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t cancel_data(void* self, const Meta_info& meta_info) {
    return slot_of<Cancel>(self, did_slot::cancel)(self, meta_info);
}

ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t start(void* self, Bytes& request, const Meta_info& meta_info, Bytes& response) {
    return slot_of<Routine_job>(self, rid_slot::start)(self, request, meta_info, response);
}
ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t stop(void* self, Bytes& request, const Meta_info& meta_info, Bytes& response) {
    return slot_of<Routine_job>(self, rid_slot::stop)(self, request, meta_info, response);
}
ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t request_results(void* self, Bytes& request, const Meta_info& meta_info,
                                                            Bytes& response) {
    return slot_of<Routine_job>(self, rid_slot::request_results)(self, request, meta_info, response);
}
ZEVO_PROBE_FOREIGN_CALL inline std::uint8_t cancel_routine(void* self, const Meta_info& meta_info) {
    return slot_of<Cancel>(self, rid_slot::cancel)(self, meta_info);
}

}  // namespace raw
}  // namespace contract_probe
