#include "extension/entry_points.h"

#include "extension/served_extensions.h"

namespace {

// Both tables in one array, so that they stand directly after one another in read-only data: the
// four data identifiers, then the six routines, in the order the host receives them.
constexpr std::uint16_t identifier_tables[] = {
    0x2C60, 0x2C57, 0x2C56, 0x2C55,                  // data identifiers
    0xC00B, 0xC00C, 0xC00D, 0xC00F, 0xC00A, 0x0648,  // routines
};
constexpr std::uint16_t did_count = 4;
constexpr std::uint16_t rid_count = 6;
static_assert(did_count + rid_count == sizeof identifier_tables / sizeof identifier_tables[0]);

}  // namespace

using ruv::dm::foundation::extension::Extension;

extern "C" {

const std::uint16_t* get_did_info(std::uint16_t* count) {
    *count = did_count;
    return identifier_tables;
}

const std::uint16_t* get_rid_info(std::uint16_t* count) {
    *count = rid_count;
    return identifier_tables + did_count;
}

Extension* construct_extension_did(std::uint16_t identifier) {
    return ruv::dm::foundation::extension::Served_data_identifiers::construct(identifier);
}

Extension* construct_extension_rid(std::uint16_t identifier) {
    return ruv::dm::foundation::extension::Served_routines::construct(identifier);
}

void destroy_extension_did(Extension* extension) { delete extension; }

void destroy_extension_rid(Extension* extension) { delete extension; }

}
