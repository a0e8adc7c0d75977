#pragma once
// Looks at objects the way code compiled elsewhere sees them, under the Itanium C++ ABI that GCC
// and Clang follow on x86-64: the first word of a polymorphic object points at slot 0 of its
// virtual table, the word in front of slot 0 is the complete object's type_info, the one before
// that the offset to the complete object. A virtual function is an ordinary function taking
// `this` first, so a slot is called as a plain function taking `self` first. Everything here
// reads words by copying them, so no member of the object's own type is used on the way.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <typeinfo>

#include "ruv/com/cpp_binding/application_error_exception.h"

// A slot called through a function type of our own is, at the machine level, the very call that
// a platform compiled elsewhere makes; Clang's -fsanitize=function would compare C++ types
// instead. Clang 14 does not instrument member functions, but these calls are marked all the same.
#if defined(__clang__)
#define ZEVO_CATALOGUE_FOREIGN_CALL __attribute__((no_sanitize("function")))
#else
#define ZEVO_CATALOGUE_FOREIGN_CALL
#endif

namespace zevo::test::raw {

/// The pointer-sized word at `index` words into `object`.
inline const void* word(const void* object, std::size_t index) {
    const void* value = nullptr;
    std::memcpy(&value, static_cast<const unsigned char*>(object) + index * sizeof(void*), sizeof value);
    return value;
}

/// The byte at `offset` into `object`.
inline std::uint8_t byte(const void* object, std::size_t offset) {
    std::uint8_t value = 0;
    std::memcpy(&value, static_cast<const unsigned char*>(object) + offset, 1);
    return value;
}

/// Where `member` lies within `object`, in bytes.
inline std::ptrdiff_t offset_of(const void* object, const void* member) {
    return static_cast<const unsigned char*>(member) - static_cast<const unsigned char*>(object);
}

/// The virtual table as the object's first word designates it: index 0 is slot 0.
inline void* const* virtual_table(const void* self) { return static_cast<void* const*>(word(self, 0)); }

/// The complete object's type_info, from the word in front of slot 0.
inline const std::type_info& dynamic_type(const void* self) {
    return *static_cast<const std::type_info*>(virtual_table(self)[-1]);
}

/// The distance from this sub-object to the complete object (0 at its start).
inline std::ptrdiff_t offset_to_top(const void* self) {
    return reinterpret_cast<std::ptrdiff_t>(virtual_table(self)[-2]);
}

template <class Function>
Function slot_of(const void* self, std::size_t index) {
    return reinterpret_cast<Function>(virtual_table(self)[index]);
}

/// The slots of every application error: the destructor pair, then what, error_code, write_payload.
namespace error_slot {
constexpr std::size_t complete_destructor = 0;
constexpr std::size_t deleting_destructor = 1;
constexpr std::size_t what = 2;
constexpr std::size_t error_code = 3;
constexpr std::size_t write_payload = 4;
}  // namespace error_slot

using Destructor = void (*)(void* self);
using What = const char* (*)(const void* self);
using Error_code = std::uint8_t (*)(const void* self);
using Write_payload = void (*)(const void* self, ruv::com::cpp_binding::Error_payload_writer& writer);

ZEVO_CATALOGUE_FOREIGN_CALL inline void complete_destructor(void* self) {
    slot_of<Destructor>(self, error_slot::complete_destructor)(self);
}
ZEVO_CATALOGUE_FOREIGN_CALL inline void deleting_destructor(void* self) {
    slot_of<Destructor>(self, error_slot::deleting_destructor)(self);
}
ZEVO_CATALOGUE_FOREIGN_CALL inline const char* what(const void* self) {
    return slot_of<What>(self, error_slot::what)(self);
}
ZEVO_CATALOGUE_FOREIGN_CALL inline std::uint8_t error_code(const void* self) {
    return slot_of<Error_code>(self, error_slot::error_code)(self);
}
ZEVO_CATALOGUE_FOREIGN_CALL inline void write_payload(const void* self,
                                                       ruv::com::cpp_binding::Error_payload_writer& writer) {
    slot_of<Write_payload>(self, error_slot::write_payload)(self, writer);
}

}  // namespace zevo::test::raw
