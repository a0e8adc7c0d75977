#pragma once
// Decoding and encoding of SOME/IP-SD payloads (what follows the 16-byte header). decode_sd
// checks the arrays' lengths (a fault drops the message), each option's layout and each entry's
// option runs and fields (a fault drops that entry alone, counted). encode_sd writes each
// entry's options as one run. Pure functions, callable on any thread; only std::bad_alloc
// escapes.

#include <cstddef>
#include <cstdint>

#include "com/sd/sd_message.h"
#include "com/someip/byte_view.h"
#include "com/someip/message_header.h"

namespace ruv::com::someip_binding::sd {

/// Why a whole SD message was dropped.
enum class Fault : std::uint8_t {
    none,
    too_short,          ///< fewer than 12 bytes behind the header
    entries_length,     ///< the entries array is no multiple of 16 or reaches past the end
    options_length,     ///< the options array reaches past the end or bytes follow it
    option_length,      ///< an option reaches past the options array
};

const char* to_text(Fault fault) noexcept;

struct Decoded {
    Fault fault = Fault::none;
    Message message;                   ///< the entries that passed, in order
    std::size_t rejected_entries = 0;  ///< out-of-range runs, bad options, contradictory fields
    std::size_t unknown_entries = 0;   ///< entry types this binding does not handle
    std::size_t ignored_options = 0;   ///< options of unknown type referenced by an entry
};

/// Whether a SOME/IP header is one SD accepts: service 0xFFFF, method 0x8100, client 0, versions
/// 1, NOTIFICATION, return code 0, session id not 0.
bool is_sd_header(const Message_header& header) noexcept;

Decoded decode_sd(Byte_view payload);

/// The payload of `message`: each entry's options form its first run, the second run is empty;
/// an option equal to one written before is referenced, not repeated.
Bytes encode_sd(const Message& message);

/// A whole SD message, header and payload, with the given session id.
Bytes encode_sd_message(const Message& message, std::uint16_t session_id);

}  // namespace ruv::com::someip_binding::sd
