#include "trace/value_names.h"

#include <cstddef>
#include <stdexcept>

namespace ruv::com::log {
namespace {

nlohmann::json byte_array(std::uint8_t const* bytes, std::size_t size) {
    std::vector<nlohmann::json> elements;
    elements.reserve(size);
    for (std::size_t position = 0; position < size; ++position) {
        elements.emplace_back(bytes[position]);
    }
    return nlohmann::json(std::move(elements));
}

template <class Bytes>
nlohmann::json byte_array(Bytes const& bytes) {
    return byte_array(bytes.data(), bytes.size());
}

void store_field(Trace_struct& traced, char const* type_name, nlohmann::json value) {
    std::string key = std::to_string(traced.next_index);
    key += '_';
    key += type_name;
    traced.object[key] = std::move(value);
    ++traced.next_index;
}

}  // namespace

std::string make_value_key(std::uint32_t index, std::string const& pad, std::string const& type_name) {
    std::string number = std::to_string(index);
    std::string key;
    if (number.size() < pad.size()) {
        key = pad;
        key.replace(key.size() - number.size(), number.size(), number);
    } else {
        key = std::move(number);
    }
    key += '_';
    key += type_name;
    return key;
}

void add_value_as(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
                  std::string const& type_name, nlohmann::json value) {
    data[make_value_key(index, pad, type_name)] = std::move(value);
    ++index;
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, std::string const& text) {
    add_value_as(index, data, pad, value_type::string, text);
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, char const* text) {
    if (text == nullptr) {
        throw std::invalid_argument("traced text is a null pointer");
    }
    add_value_as(index, data, pad, value_type::string, text);
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::vector<std::uint8_t> const& bytes) {
    add_value_as(index, data, pad, value_type::vector, byte_array(bytes));
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::map<std::string, std::string> const& map) {
    std::map<std::string, nlohmann::json> object(map.begin(), map.end());
    add_value_as(index, data, pad, value_type::map, nlohmann::json(std::move(object)));
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, std::uint8_t value) {
    add_value_as(index, data, pad, value_type::uint8, value);
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::array<std::uint8_t, 1> const& bytes) {
    add_value_as(index, data, pad, value_type::array, byte_array(bytes));
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::array<std::uint8_t, 16> const& bytes) {
    add_value_as(index, data, pad, value_type::array, byte_array(bytes));
}

void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::array<std::uint8_t, 17> const& bytes) {
    add_value_as(index, data, pad, value_type::array, byte_array(bytes));
}

void add_field(Trace_struct& traced, std::uint8_t value) { store_field(traced, value_type::uint8, value); }

void add_field(Trace_struct& traced, std::uint16_t value) { store_field(traced, value_type::uint16, value); }

void add_field(Trace_struct& traced, std::vector<std::uint8_t> const& bytes) {
    store_field(traced, value_type::vector, byte_array(bytes));
}

void add_field(Trace_struct& traced, std::array<std::uint8_t, 1> const& bytes) {
    store_field(traced, value_type::array, byte_array(bytes));
}

void add_field(Trace_struct& traced, std::array<std::uint8_t, 16> const& bytes) {
    store_field(traced, value_type::array, byte_array(bytes));
}

void add_field(Trace_struct& traced, std::array<std::uint8_t, 17> const& bytes) {
    store_field(traced, value_type::array, byte_array(bytes));
}

}  // namespace ruv::com::log
