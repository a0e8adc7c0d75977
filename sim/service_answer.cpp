#include "sim/service_answer.h"

namespace zevo::sim {

void shorten(Answer& answer) {
    if (!answer.payload.empty()) answer.payload.pop_back();
}

void malform(Answer& answer) {
    std::vector<std::uint8_t>& bytes = answer.payload;
    if (answer.first_length_field && *answer.first_length_field + 4 <= bytes.size()) {
        const std::size_t at = *answer.first_length_field;
        const auto claimed = static_cast<std::uint32_t>(bytes.size() - at - 4 + 1);
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[at + i] = static_cast<std::uint8_t>(claimed >> (24 - 8 * i));
        }
        return;
    }
    if (bytes.size() > 1) bytes.resize(1);
}

}  // namespace zevo::sim
