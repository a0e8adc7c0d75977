#pragma once
// Read cursor over a received payload that it does not own: the vector must outlive the buffer.
// One buffer per reading call, used on that call's thread only. Throws std::invalid_argument and
// std::out_of_range with fixed texts; a refused read moves nothing.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "someip/error_texts.h"

namespace ruv::com {

template <class Container>
class Read_buffer {
public:
    explicit Read_buffer(const Container& container) : container_(&container), position_(container.begin()) {}
    explicit Read_buffer(Container&&) = delete;  // the bytes must outlive the cursor

    /// Copies the next `count` bytes to `destination` and moves past them.
    void read_bytes(std::size_t count, std::uint8_t* destination) {
        if (destination == nullptr) {
            throw std::invalid_argument(someip::serialization::error_texts::null_destination);
        }
        check_available(count);
        if (count != 0) {
            std::memmove(destination, container_->data() + offset(), count);
        }
        advance(count);
    }

    /// Throws unless `count` more bytes are there; moves nothing.
    void check_available(std::size_t count) const {
        // Written as a difference so that a huge count cannot wrap around; offset() <= size().
        if (size() - offset() < count) {
            throw std::out_of_range(someip::serialization::error_texts::read_beyond_end);
        }
    }

    /// Moves past `count` bytes without a test: the caller has made one.
    void advance(std::size_t count) { position_ += static_cast<typename Container::difference_type>(count); }

    /// Bytes read or skipped so far, counted from the beginning of the container.
    std::size_t offset() const { return static_cast<std::size_t>(position_ - container_->begin()); }

    /// The container's size, read afresh.
    std::size_t size() const { return container_->size(); }

private:
    const Container* container_;                       ///< the payload; owned by the caller
    typename Container::const_iterator position_;     ///< the next byte to read
};

}  // namespace ruv::com
