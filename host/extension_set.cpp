#include "host/extension_set.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "host/hex_bytes.h"

namespace zevo::host {
namespace {

using ruv::dm::foundation::extension::Extension_data_identifier;
using ruv::dm::foundation::extension::Extension_routine_control;

/// Destroys the extensions of `entries`, the last made first.
void destroy_last_first(std::vector<Extension_set::Entry>& entries) noexcept {
    while (!entries.empty()) entries.pop_back();
}

std::vector<Extension_set::Entry> construct_all(Plugin_entry_points::Get_info get_info,
                                                Plugin_entry_points::Construct construct,
                                                Plugin_entry_points::Destroy destroy, const char* kind) {
    std::uint16_t count = 0;
    const std::uint16_t* table = get_info(&count);
    if (count != 0 && table == nullptr) {
        throw Plugin_error(std::string("the plug-in's ") + kind + " table is null with a count of " + std::to_string(count));
    }
    std::vector<Extension_set::Entry> entries;
    entries.reserve(count);
    try {
        for (std::uint16_t i = 0; i < count; ++i) {
            Extension_set::Extension_handle extension(construct(table[i]), destroy);
            if (!extension) {
                throw Plugin_error(std::string("the plug-in lists ") + kind + " 0x" + format_hex_value(table[i], 4) +
                                   " but constructs no extension for it");
            }
            entries.push_back({table[i], std::move(extension)});
        }
    } catch (...) {
        destroy_last_first(entries);  // a construct may throw std::bad_alloc, too
        throw;
    }
    return entries;
}

ruv::dm::foundation::extension::Extension& find_entry(const std::vector<Extension_set::Entry>& entries,
                                                      std::uint16_t identifier, const char* kind) {
    for (const auto& entry : entries) {
        if (entry.identifier == identifier) return *entry.extension;
    }
    throw std::invalid_argument(std::string(kind) + " 0x" + format_hex_value(identifier, 4) + " is not served");
}

std::vector<std::uint16_t> identifiers_of(const std::vector<Extension_set::Entry>& entries) {
    std::vector<std::uint16_t> identifiers;
    identifiers.reserve(entries.size());
    for (const auto& entry : entries) identifiers.push_back(entry.identifier);
    return identifiers;
}

}  // namespace

Extension_set::Extension_set(const Plugin_entry_points& entry_points)
    : data_identifiers_(construct_all(entry_points.get_did_info, entry_points.construct_extension_did,
                                      entry_points.destroy_extension_did, "data identifier")) {
    try {
        routines_ = construct_all(entry_points.get_rid_info, entry_points.construct_extension_rid,
                                  entry_points.destroy_extension_rid, "routine");
    } catch (...) {
        destroy_last_first(data_identifiers_);
        throw;
    }
}

Extension_set::~Extension_set() {
    detach_all();
    destroy_last_first(routines_);
    destroy_last_first(data_identifiers_);
}

void Extension_set::attach_all(const std::string& instance) {
    for (auto& entry : data_identifiers_) entry.extension->attach(instance);
    for (auto& entry : routines_) entry.extension->attach(instance);
    attached_ = true;
}

void Extension_set::detach_all() {
    if (!attached_) return;
    for (auto& entry : data_identifiers_) entry.extension->detach();
    for (auto& entry : routines_) entry.extension->detach();
    attached_ = false;
}

std::vector<std::uint16_t> Extension_set::data_identifiers() const { return identifiers_of(data_identifiers_); }

std::vector<std::uint16_t> Extension_set::routines() const { return identifiers_of(routines_); }

Extension_data_identifier& Extension_set::data_identifier(std::uint16_t did) const {
    // The kind is known from the construct function that made the object; the downcast needs no RTTI.
    return static_cast<Extension_data_identifier&>(find_entry(data_identifiers_, did, "data identifier"));
}

Extension_routine_control& Extension_set::routine(std::uint16_t rid) const {
    return static_cast<Extension_routine_control&>(find_entry(routines_, rid, "routine"));
}

void Extension_set::serve_with(Uds_dispatcher& dispatcher) const {
    // The kind is known from the construct function that made the object; the downcast needs no RTTI.
    for (const auto& entry : data_identifiers_) {
        dispatcher.add_data_identifier(entry.identifier, *static_cast<Extension_data_identifier*>(entry.extension.get()));
    }
    for (const auto& entry : routines_) {
        dispatcher.add_routine(entry.identifier, *static_cast<Extension_routine_control*>(entry.extension.get()));
    }
}

}  // namespace zevo::host
