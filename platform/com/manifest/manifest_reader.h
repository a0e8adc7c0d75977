#pragma once
// Reads the deployment manifest from JSON, strictly: an unknown key, a missing one, a value of
// the wrong type or out of range, or two entries that contradict each other is an error that
// names the file and the JSON path, e.g. "manifest m.json: $.services[3].instance_id: expected
// an integer 1..65534". Called once at start on any thread.

#include <optional>
#include <stdexcept>
#include <string>

#include "com/manifest/manifest.h"

namespace ruv::com::someip_binding {

class Manifest_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The environment variable that names the manifest; unset or empty: the local binding only.
inline constexpr const char* manifest_variable = "ZEVO_COM_MANIFEST";

/// Parses `text`; `source` names it in messages. Throws Manifest_error, std::bad_alloc.
Manifest parse_manifest(const std::string& text, const std::string& source);

/// Reads and parses the file. Throws Manifest_error (also when the file cannot be read).
Manifest read_manifest(const std::string& path);

/// The path in ZEVO_COM_MANIFEST, if set and not empty.
std::optional<std::string> manifest_path_from_environment();

}  // namespace ruv::com::someip_binding
