#pragma once
// Reads UDS request parameters: big-endian integers from the front of the request, one after
// another. Used on a job's own thread on a job-local object; no locks.
// A read past the end throws std::out_of_range (the bounds-tested vector access's own text) and
// leaves both the argument and the read position unchanged.

#include <cstdint>
#include <vector>

#include "extension/export.h"
#include "extension/meta_info.h"

namespace ruv::dm::foundation::extension {

class ZEVO_EXPORT Deserialize {
public:
    /// Takes the request bytes by value (moved in); `meta_info` must outlive the object.
    Deserialize(std::vector<std::uint8_t> data, const Meta_info& meta_info);

    void deserialize(std::uint8_t& value);
    void deserialize(std::uint16_t& value);
    void deserialize(std::uint32_t& value);
    void deserialize(std::uint64_t& value);
    void deserialize(std::int8_t& value);
    void deserialize(std::int16_t& value);
    void deserialize(std::int32_t& value);
    void deserialize(std::int64_t& value);

    const std::vector<std::uint8_t>& data() const noexcept { return data_; }
    const Meta_info& meta_info() const noexcept { return meta_info_; }
    std::uint32_t read_position() const noexcept { return read_position_; }

private:
    template <class T>
    void read_big_endian(T& value);

    std::vector<std::uint8_t> data_;
    const Meta_info& meta_info_;
    std::uint32_t read_position_;  ///< index of the next byte; only moves forward
};

}  // namespace ruv::dm::foundation::extension
