#pragma once
// Writes UDS response parameters: appends big-endian integers to the caller's vector, which it
// neither owns nor clears. Used on a job's own thread; fails only by allocation failure.

#include <cstdint>
#include <vector>

#include "extension/export.h"

namespace ruv::dm::foundation::extension {

class ZEVO_EXPORT Serialize {
public:
    explicit Serialize(std::vector<std::uint8_t>& target) noexcept;

    void write_value(const std::uint8_t& value);
    void write_value(const std::uint16_t& value);
    void write_value(const std::uint32_t& value);
    void write_value(const std::uint64_t& value);
    void write_value(const std::int8_t& value);
    void write_value(const std::int16_t& value);
    void write_value(const std::int32_t& value);
    void write_value(const std::int64_t& value);

private:
    template <class T>
    void append_big_endian(T value);

    std::vector<std::uint8_t>& target_;
};

}  // namespace ruv::dm::foundation::extension
