// Rport as a proxy uses it: built from a discovered handle, call_method in the third virtual slot
// (the destructor pair first), the deleting destructor in the second, and a port that stays
// valid when its service is withdrawn.
#include "ruv/com/cpp_binding/proxy/rport.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ara/com/logger.h"
#include "kel/com/runtime/service_handle.h"
#include "local_call_support.h"
#include "ruv/com/local/provider_registry.h"
#include "ruv/com/runtime/service_entry.h"

namespace {

using kel::com::runtime::Method_call;
using kel::com::runtime::Serialized_payload;
using ruv::com::cpp_binding::proxy::Rport;
using ruv::com::local::Provider_registry;
using ruv::com::local::Reply;
using ruv::com::runtime::Service_binding;
using zevo::test::bound;
using zevo::test::Call_inbox;
using zevo::test::Handler_probe;
using zevo::test::payload_of;
using zevo::test::port_of;
using zevo::test::ready;
using zevo::test::routine_name;

using Call_future = kel::com::Future<std::shared_ptr<Method_call>>;
using Slot = void (*)();
using Call_method_slot = Call_future (*)(Rport*, std::uint16_t, Serialized_payload,
                                         Service_binding::Response_handler);
using Deleting_destructor_slot = void (*)(Rport*);

constexpr std::size_t deleting_destructor_index = 1;
constexpr std::size_t call_method_index = 2;

Slot slot_of(Rport& port, std::size_t index) {
    Slot const* const table = *reinterpret_cast<Slot const* const*>(&port);
    return table[index];
}

std::ptrdiff_t offset_in(const Rport& port, const void* member) {
    return static_cast<const unsigned char*>(member) - reinterpret_cast<const unsigned char*>(&port);
}

class Echo_provider {
public:
    ruv::com::local::Call_handler handler() {
        return [](std::uint16_t method_id, std::vector<std::uint8_t> request, Reply reply) {
            request.push_back(static_cast<std::uint8_t>(method_id));
            reply.answer(0, std::move(request));
        };
    }
};

TEST(Rport, takes_service_and_instance_texts_logger_and_record_from_the_handle) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    const auto sut = port_of(offer);
    EXPECT_EQ(sut->info.service, routine_name);
    EXPECT_EQ(sut->info.instance, "1");
    EXPECT_EQ(sut->logger, &ara::com::logger());
    EXPECT_EQ(sut->service, offer.record());
    EXPECT_EQ(sut->service->state.load(), 2);
}

TEST(Rport, fields_sit_behind_the_virtual_table_in_declaration_order) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    const auto sut = port_of(offer);
    EXPECT_EQ(offset_in(*sut, &sut->info), static_cast<std::ptrdiff_t>(sizeof(void*)));
    EXPECT_EQ(offset_in(*sut, &sut->logger),
              static_cast<std::ptrdiff_t>(sizeof(void*) + sizeof(ruv::com::cpp_binding::Service_info)));
    EXPECT_EQ(offset_in(*sut, &sut->service),
              static_cast<std::ptrdiff_t>(sizeof(ruv::com::cpp_binding::Port_link)));
}

TEST(Rport, handle_without_a_runtime_record_is_refused_with_invalid_argument) {
    class Foreign_record : public kel::com::runtime::Service_handle_record {
    public:
        const std::string& instance_id() const override { return text_; }
        const std::string& service_id() const override { return text_; }

    private:
        std::string text_{"foreign"};
    };
    const kel::com::runtime::Service_handle foreign{std::make_shared<Foreign_record>()};
    try {
        Rport sut{foreign, ruv::com::connector::Service_interface_description{0, 0, 3, 0}};
        FAIL() << "a port was built on a foreign handle";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Rport: the service handle does not come from this runtime");
    }
}

TEST(Rport, call_method_is_the_third_slot_of_the_virtual_table) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    auto sut = port_of(offer);
    Handler_probe probe;
    const auto call = reinterpret_cast<Call_method_slot>(slot_of(*sut, call_method_index));
    Call_future accepted = call(sut.get(), 7, payload_of({0xAB, 0xCD}), probe.handler());
    ASSERT_TRUE(accepted.valid());
    ASSERT_TRUE(ready(probe.response));
    const auto response = probe.response.get();
    EXPECT_EQ(response.code, 0);
    EXPECT_EQ(response.bytes, (std::vector<std::uint8_t>{0xAB, 0xCD, 7}));
}

TEST(Rport, call_method_pointer_to_member_names_the_third_slot) {
    // The Itanium C++ ABI encodes a pointer to a virtual member function as 1 plus the byte offset
    // of its slot in the virtual table.
    const auto member = &Rport::call_method;
    static_assert(sizeof member == 2 * sizeof(std::uintptr_t));
    std::uintptr_t words[2] = {};
    std::memcpy(words, &member, sizeof words);
    EXPECT_EQ(words[0], 1 + call_method_index * sizeof(void*));
    EXPECT_EQ(words[1], 0U);
}

TEST(Rport, second_slot_is_the_deleting_destructor) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    const long before = offer.record().use_count();
    Rport* const sut = port_of(offer).release();
    EXPECT_EQ(offer.record().use_count(), before + 1);
    const auto destroy = reinterpret_cast<Deleting_destructor_slot>(slot_of(*sut, deleting_destructor_index));
    destroy(sut);
    EXPECT_EQ(offer.record().use_count(), before);
}

TEST(Rport, call_method_returns_a_ready_future_holding_the_call_record) {
    Provider_registry registry;
    Call_inbox inbox;
    auto offer = registry.offer(routine_name, "1", inbox.handler());
    auto sut = port_of(offer);
    Handler_probe probe;
    Call_future accepted = sut->call_method(1, payload_of({}), probe.handler());
    ASSERT_EQ(accepted.wait_for(std::chrono::seconds{0}), std::future_status::ready);
    const std::shared_ptr<Method_call> record = accepted.get();
    ASSERT_NE(record, nullptr);
    EXPECT_NE(record->id(), 0U);
    auto received = inbox.next();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->reply.call_id(), record->id());
    EXPECT_TRUE(record->outstanding());
    received->reply.answer(0);
    ASSERT_TRUE(ready(probe.response));
    EXPECT_FALSE(record->outstanding());
}

TEST(Rport, stays_valid_after_withdrawal_with_the_state_changed) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    auto sut = port_of(offer);
    const auto record = sut->service;
    offer.withdraw();
    EXPECT_EQ(sut->service, record);
    EXPECT_NE(sut->service->state.load(std::memory_order_acquire), 2);
    EXPECT_EQ(sut->info.service, routine_name);
    Handler_probe probe;
    sut->call_method(1, payload_of({1}), probe.handler());
    ASSERT_TRUE(ready(probe.response));
    EXPECT_EQ(probe.response.get().code, 0xFF);
}

TEST(Rport, two_ports_of_one_service_share_its_record) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    const auto first = port_of(offer);
    const auto second = port_of(offer);
    EXPECT_EQ(first->service, second->service);
}

TEST(Rport, found_handle_reaches_the_same_record_as_the_offer) {
    Provider_registry registry;
    auto offer = registry.offer(routine_name, "1", Echo_provider{}.handler());
    const auto found = registry.find(routine_name, "1");
    ASSERT_EQ(found.size(), 1U);
    const Rport sut{found.front(), ruv::com::connector::Service_interface_description{0, 0, 3, 0}};
    EXPECT_EQ(sut.service, offer.record());
    const auto* entry = ruv::com::runtime::Service_entry::of(found.front());
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->service_id(), routine_name);
    EXPECT_EQ(entry->instance_id(), "1");
}

}  // namespace
