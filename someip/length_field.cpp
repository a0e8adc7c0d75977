// Length fields of the payload writer. The checks run in a fixed order, and every value that does
// not fit is refused before the first byte is appended.

#include "someip/length_field.h"

#include <array>
#include <stdexcept>
#include <string>

#include "someip/error_texts.h"

namespace ruv::com::someip::serialization {
namespace {

constexpr const char* length_does_not_fit = "Calculated record length does not fit into configured length field";

// Widths of the length fields of wire types 5, 6 and 7 (SOME/IP TLV encoding).
constexpr std::array<std::uint64_t, 3> fixed_width_of_wire_type{1, 2, 4};

void append_bytes(std::uint32_t value, std::size_t count, std::vector<std::uint8_t>& out,
                  const Serialization_properties& properties) {
    const bool least_significant_first = properties.byte_order == byte_order::Byte_order::little_endian;
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t shift = 8 * (least_significant_first ? index : count - 1 - index);
        out.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

}  // namespace

void write_length_field(std::size_t size, std::size_t value, std::vector<std::uint8_t>& out,
                        const Serialization_properties& properties) {
    if (size == 1) {
        if (value > 0xFFU) {
            throw std::overflow_error(length_does_not_fit);
        }
        out.push_back(static_cast<std::uint8_t>(value));
        return;
    }
    if (size == 0) {
        return;  // the caller asked for a value without a length field
    }
    if (size == 2) {
        if (value > 0xFFFFU) {
            throw std::overflow_error(length_does_not_fit);
        }
        append_bytes(static_cast<std::uint32_t>(value), 2, out, properties);
        return;
    }
    if (size != 4) {
        throw std::invalid_argument(error_texts::invalid_length_field_size);
    }
    if (value > 0xFFFFFFFFU) {
        throw std::overflow_error(length_does_not_fit);
    }
    append_bytes(static_cast<std::uint32_t>(value), 4, out, properties);
}

std::size_t length_field_size_for_wire_type(unsigned char wire_type, const Serialization_properties& properties) {
    if (wire_type == 4) {
        // SOME/IP (PRS_SOMEIP_00215): wire type 4 takes its width from the configuration, which
        // is only unambiguous if the three widths agree.
        const std::uint64_t width = properties.array_length_field_size;
        if (width == properties.string_length_field_size && width != 0 &&
            properties.struct_length_field_size == width) {
            return width;
        }
        throw std::runtime_error(
            "Violation of COM.PRS_SOMEIP_00215: All length fields must have same size and not be 0 when wire "
            "type 4 is used (" +
            std::to_string(properties.array_length_field_size) + "," +
            std::to_string(properties.string_length_field_size) + "," +
            std::to_string(properties.struct_length_field_size) + ")");
    }
    if (wire_type >= 5 && wire_type <= 7) {
        return fixed_width_of_wire_type[static_cast<std::size_t>(wire_type - 5)];
    }
    return 0;
}

}  // namespace ruv::com::someip::serialization
