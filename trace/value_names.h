#pragma once
// How values are named in a trace record: running number, "_" and type name ("3_vector"), under
// "2_data" and inside a generated Output record ("1_generated_type"). Called while a record is
// built, on the event's thread; throws what building JSON throws, std::invalid_argument for null text.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace ruv::com::log {

/// The whole vocabulary of type names in trace keys.
namespace value_type {
inline constexpr char const uint8[] = "uint8";
inline constexpr char const uint16[] = "uint16";
inline constexpr char const string[] = "string";
inline constexpr char const vector[] = "vector";
inline constexpr char const array[] = "array";
inline constexpr char const map[] = "map";
inline constexpr char const generated_type[] = "generated_type";
}  // namespace value_type

/// The key of a value under "2_data": `index` in decimal, right-aligned in a copy of `pad` when
/// it is shorter than `pad`, then "_" and `type_name`. Every caller passes an empty pad.
std::string make_value_key(std::uint32_t index, std::string const& pad, std::string const& type_name);

/// Stores `value` under make_value_key(index, pad, type_name) and counts `index` on; the first
/// value turns a null `data` into an object.
void add_value_as(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
                  std::string const& type_name, nlohmann::json value);

/// "string": the text as a JSON string. A null `text` throws std::invalid_argument.
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, std::string const& text);
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, char const* text);
/// "vector": one unsigned number per byte, in order; [] when empty.
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::vector<std::uint8_t> const& bytes);
/// "map": an object with the map's keys, each value a string; {} when empty.
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::map<std::string, std::string> const& map);
/// "uint8": an unsigned number.
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, std::uint8_t value);
/// "array": N unsigned numbers, also for N = 1.
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::array<std::uint8_t, 1> const& bytes);
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::array<std::uint8_t, 16> const& bytes);
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad,
               std::array<std::uint8_t, 17> const& bytes);

/// A generated record while it is being traced: its fields so far, and the number of the next.
struct Trace_struct {
    nlohmann::json object;         ///< null until the first field makes it an object
    std::uint64_t next_index = 1;  ///< numbering starts at 1 in every record
};

/// Stores a field under next_index ("%lu"), "_" and its type name, and counts next_index on.
void add_field(Trace_struct& traced, std::uint8_t value);
void add_field(Trace_struct& traced, std::uint16_t value);
void add_field(Trace_struct& traced, std::vector<std::uint8_t> const& bytes);
void add_field(Trace_struct& traced, std::array<std::uint8_t, 1> const& bytes);
void add_field(Trace_struct& traced, std::array<std::uint8_t, 16> const& bytes);
void add_field(Trace_struct& traced, std::array<std::uint8_t, 17> const& bytes);

/// A generated Output record: anything whose const fields() gives a tuple of its members.
template <class T, class = void>
struct is_generated_record : std::false_type {};
template <class T>
struct is_generated_record<T, std::void_t<decltype(std::declval<T const&>().fields())>> : std::true_type {};
template <class T>
inline constexpr bool is_generated_record_v = is_generated_record<T>::value;

/// "generated_type": an object of the record's fields in declaration order, numbered from 1.
template <class Record, std::enable_if_t<is_generated_record_v<Record>, int> = 0>
void add_value(std::uint32_t& index, nlohmann::json& data, std::string const& pad, Record const& record) {
    Trace_struct traced;
    std::apply([&traced](auto const&... field) { (add_field(traced, field), ...); }, record.fields());
    add_value_as(index, data, pad, value_type::generated_type, std::move(traced.object));
}

/// Stores a method's arguments under "2_data" in signature order, numbered on from `index`.
template <class... Values>
void add_values(std::uint32_t& index, nlohmann::json& data, Values const&... values) {
    std::string const pad;
    (add_value(index, data, pad, values), ...);
}

}  // namespace ruv::com::log
