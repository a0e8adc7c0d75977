#pragma once
// The plug-in's whole boundary to the diagnostic manager: two identifier tables and the making
// and unmaking of extension objects. Exported unmangled. Tables may be read from any thread at
// any time; objects are owned by the host from construction to the matching destroy call.

#include <cstdint>

#include "extension/export.h"
#include "extension/extension.h"

extern "C" {

/// Stores 4 in *count and returns the data identifier table (0x2C60, 0x2C57, 0x2C56, 0x2C55).
ZEVO_EXPORT const std::uint16_t* get_did_info(std::uint16_t* count);
/// Stores 6 in *count and returns the routine table, which stands right behind the first.
ZEVO_EXPORT const std::uint16_t* get_rid_info(std::uint16_t* count);
/// A new extension for a served data identifier, or null. Throws only std::bad_alloc.
ZEVO_EXPORT ruv::dm::foundation::extension::Extension* construct_extension_did(std::uint16_t identifier);
/// A new extension for a served routine, or null. Throws only std::bad_alloc.
ZEVO_EXPORT ruv::dm::foundation::extension::Extension* construct_extension_rid(std::uint16_t identifier);
/// Deletes through the virtual destructor; null is ignored.
ZEVO_EXPORT void destroy_extension_did(ruv::dm::foundation::extension::Extension* extension);
ZEVO_EXPORT void destroy_extension_rid(ruv::dm::foundation::extension::Extension* extension);

}
