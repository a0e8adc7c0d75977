// The records that cross between the plug-in and the runtime, as code compiled elsewhere reads
// them: Serialized_payload's four fields, the four bytes of Service_interface_description, the
// service record's atomic state in front, and the fields of Port_link and Rport.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "kel/com/runtime/method_call.h"
#include "kel/com/runtime/serialized_payload.h"
#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/cpp_binding/proxy/rport.h"
#include "ruv/com/cpp_binding/service_info.h"
#include "ruv/com/cpp_binding/shared_payload.h"
#include "ruv/com/runtime/service_record.h"

namespace {

using kel::com::runtime::Serialized_payload;
using ruv::com::connector::Service_interface_description;
using ruv::com::cpp_binding::Port_link;
using ruv::com::cpp_binding::Service_info;
using ruv::com::cpp_binding::proxy::Rport;
using ruv::com::runtime::Service_record;
using Buffer_pointer = std::shared_ptr<std::vector<std::uint8_t>>;

// Serialized_payload: leading word, buffer, begin, end; nothing else.
static_assert(std::is_standard_layout_v<Serialized_payload>);
static_assert(offsetof(Serialized_payload, header_word) == 0);
static_assert(std::is_same_v<decltype(Serialized_payload::header_word), std::uint32_t>);
static_assert(std::is_same_v<decltype(Serialized_payload::buffer), Buffer_pointer>);
static_assert(std::is_same_v<decltype(Serialized_payload::begin), std::uint8_t*>);
static_assert(std::is_same_v<decltype(Serialized_payload::end), std::uint8_t*>);
static_assert(offsetof(Serialized_payload, buffer) == alignof(Buffer_pointer));
static_assert(offsetof(Serialized_payload, begin) == offsetof(Serialized_payload, buffer) + sizeof(Buffer_pointer));
static_assert(offsetof(Serialized_payload, end) == offsetof(Serialized_payload, begin) + sizeof(std::uint8_t*));
static_assert(sizeof(Serialized_payload) == offsetof(Serialized_payload, end) + sizeof(std::uint8_t*));
static_assert(sizeof(Serialized_payload) == 40, "the 64-bit layout: 4 + 4 padding + 16 + 8 + 8");

// Service_interface_description: four plain bytes.
static_assert(sizeof(Service_interface_description) == 4);
static_assert(alignof(Service_interface_description) == 1);
static_assert(std::is_trivially_copyable_v<Service_interface_description>);
static_assert(std::is_standard_layout_v<Service_interface_description>);
static_assert(offsetof(Service_interface_description, reserved_0) == 0);
static_assert(offsetof(Service_interface_description, reserved_1) == 1);
static_assert(offsetof(Service_interface_description, method_count) == 2);
static_assert(offsetof(Service_interface_description, reserved_3) == 3);

// The service record: the atomic 8-bit state first, then the binding.
static_assert(std::is_standard_layout_v<Service_record>);
static_assert(std::is_same_v<decltype(Service_record::state), std::atomic<std::uint8_t>>);
static_assert(offsetof(Service_record, state) == 0);
static_assert(sizeof(std::atomic<std::uint8_t>) == 1);
static_assert(std::atomic<std::uint8_t>::is_always_lock_free);
static_assert(offsetof(Service_record, binding) == alignof(std::shared_ptr<int>));
static_assert(ruv::com::runtime::service_state::available == 2);
static_assert(ruv::com::runtime::service_state::not_available != 2);

// Port_link and Rport: the virtual table, info, logger; then service.
static_assert(std::is_standard_layout_v<Service_info>);
static_assert(offsetof(Service_info, service) == 0);
static_assert(offsetof(Service_info, instance) == sizeof(std::string));
static_assert(std::is_polymorphic_v<Port_link>);
static_assert(std::has_virtual_destructor_v<Port_link>);
static_assert(std::is_base_of_v<Port_link, Rport>);
static_assert(std::is_base_of_v<kel::com::Interface, Port_link>);
static_assert(!std::is_convertible_v<Port_link*, kel::com::Interface*>, "the base is not public");
static_assert(sizeof(Port_link) == sizeof(void*) + sizeof(Service_info) + sizeof(void*));
static_assert(sizeof(Rport) == sizeof(Port_link) + sizeof(std::shared_ptr<Service_record>));
static_assert(std::is_same_v<decltype(Port_link::logger), ruv::com::log::Generic_logger*>);
static_assert(std::is_same_v<decltype(Rport::service), std::shared_ptr<Service_record>>);

// The method call record the future carries.
static_assert(!std::is_copy_constructible_v<kel::com::runtime::Method_call>);

std::uint32_t as_little_endian_word(const Service_interface_description& description) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&description);
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U |
           static_cast<std::uint32_t>(bytes[2]) << 16U | static_cast<std::uint32_t>(bytes[3]) << 24U;
}

TEST(Service_interface_description, routine_reads_0x00030000) {
    const Service_interface_description sut{0, 0, 3, 0};
    EXPECT_EQ(as_little_endian_word(sut), 0x00030000U);
    std::uint32_t word = 0;
    std::memcpy(&word, &sut, sizeof word);
    EXPECT_EQ(word, 0x00030000U) << "read as one word on this little-endian machine";
}

TEST(Service_interface_description, data_identifier_reads_0x00020000) {
    const Service_interface_description sut{0, 0, 2, 0};
    EXPECT_EQ(as_little_endian_word(sut), 0x00020000U);
}

TEST(Service_interface_description, bytes_in_memory_order_are_0_0_count_0) {
    Service_interface_description sut;
    sut.method_count = 3;
    unsigned char bytes[4] = {};
    std::memcpy(bytes, &sut, sizeof bytes);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[1], 0);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(bytes[3], 0);
}

TEST(Serialized_payload, starts_empty_with_a_zero_word) {
    const Serialized_payload sut;
    EXPECT_EQ(sut.header_word, 0U);
    EXPECT_EQ(sut.buffer, nullptr);
    EXPECT_EQ(sut.begin, nullptr);
    EXPECT_EQ(sut.end, nullptr);
}

TEST(Serialized_payload, fields_read_through_raw_memory_at_their_offsets) {
    auto buffer = std::make_shared<std::vector<std::uint8_t>>(std::vector<std::uint8_t>{1, 2, 3});
    const Serialized_payload sut{0xA5A5A5A5U, buffer, buffer->data() + 1, buffer->data() + 3};
    const auto* raw = reinterpret_cast<const unsigned char*>(&sut);
    std::uint32_t word = 0;
    std::uint8_t* begin = nullptr;
    std::uint8_t* end = nullptr;
    std::memcpy(&word, raw, sizeof word);
    std::memcpy(&begin, raw + 24, sizeof begin);
    std::memcpy(&end, raw + 32, sizeof end);
    EXPECT_EQ(word, 0xA5A5A5A5U);
    EXPECT_EQ(begin, buffer->data() + 1);
    EXPECT_EQ(end, buffer->data() + 3);
}

TEST(Shared_payload, is_a_new_empty_buffer_of_its_own) {
    const auto first = ruv::com::cpp_binding::get_shared_payload(0);
    const auto second = ruv::com::cpp_binding::get_shared_payload(0);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(first->empty());
    EXPECT_NE(first, second);
    EXPECT_EQ(first.use_count(), 1);
}

TEST(Shared_payload, reserves_the_size_hint_and_stays_empty) {
    const auto sut = ruv::com::cpp_binding::get_shared_payload(64);
    EXPECT_TRUE(sut->empty());
    EXPECT_GE(sut->capacity(), 64U);
}

}  // namespace
