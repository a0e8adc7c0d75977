// someip_sd_fuzz: arbitrary bytes as the payload of a SOME/IP-SD message. Decoding must end in a
// fault or in entries that passed its checks; what passed must encode and decode again to the
// same entries with no rejection, and every rejected or unknown entry is counted.

#include <cstddef>
#include <cstdint>
#include <string>

#include "com/sd/sd_codec.h"
#include "fuzz/fuzz_check.h"

namespace {

using namespace ruv::com::someip_binding;
using namespace ruv::com::someip_binding::sd;
using zevo::fuzz::expect;

bool encodable(const Message& message) {
    for (const Entry& entry : message.entries) {
        if (entry.options.size() > 15) {
            return false;  // two runs of the wire may hold more than the encoder's one
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Decoded decoded = decode_sd(Byte_view{data, size});
    if (decoded.fault != Fault::none) {
        expect(decoded.message.entries.empty(), "entries from a dropped message");
        return 0;
    }
    const std::size_t entries = (size < 8 ? 0 : read_u32(data + 4)) / 16;
    expect(decoded.message.entries.size() + decoded.rejected_entries + decoded.unknown_entries == entries,
           "entries not accounted for");
    if (!encodable(decoded.message)) {
        return 0;
    }
    const Bytes encoded = encode_sd(decoded.message);
    const Decoded again = decode_sd(view_of(encoded));
    expect(again.fault == Fault::none, std::string("re-encoded message dropped: ") + to_text(again.fault));
    expect(again.rejected_entries == 0 && again.unknown_entries == 0, "re-encoded entries rejected");
    expect(again.message == decoded.message, "re-encoded message reads differently");
    const Bytes whole = encode_sd_message(decoded.message, 1);
    expect(is_sd_header(read_header(whole.data())), "framed message is no SD message");
    return 0;
}
