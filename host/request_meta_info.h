#pragma once
// The meta_info the host hands to every extension job: text entries that describe the request.
// The plug-in never reads them and passes them whole to the remote service, which may log or
// check them. Built by the dispatcher on the dispatching thread, before the job starts.

#include <cstdint>
#include <optional>

#include "extension/meta_info.h"

namespace zevo::host {

/// Keys of the entries. Values are "0x" and upper-case hex digits of fixed width.
namespace meta_key {
/// Request SID, two digits: "0x22", "0x2E" or "0x31". Always present.
inline constexpr const char* service_id = "service_id";
/// The RoutineControl sub-function byte as received (suppress bit included), two digits:
/// "0x01", "0x83". Present for 0x31 only.
inline constexpr const char* sub_function = "sub_function";
/// The DID or RID the job serves, four digits: "0x2C56", "0xC00F". For a read of several DIDs
/// each job gets its own DID. Always present.
inline constexpr const char* identifier = "identifier";
/// The tester's (client's) logical address, four digits: "0x0E80". Always present.
inline constexpr const char* tester_address = "tester_address";
}  // namespace meta_key

/// The entries above for one job.
ruv::dm::foundation::extension::Meta_info make_request_meta_info(std::uint8_t service_id,
                                                                 std::optional<std::uint8_t> sub_function,
                                                                 std::uint16_t identifier,
                                                                 std::uint16_t tester_address);

}  // namespace zevo::host
