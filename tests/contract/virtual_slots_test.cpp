// Every extension driven through its numbered virtual slots only, as the host drives it:
// attach, jobs, cancel, detach, destruction. No service exists in this process, so each job
// answers as without one.

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>

#include "loaded_plugin.h"
#include "raw_extension.h"
#include "served_identifiers.h"

namespace contract_probe {
namespace {

constexpr std::uint8_t positive = 0x00;
constexpr std::uint8_t general_reject = 0x10;
constexpr std::uint8_t nothing_cancelled = 0;

// What the host passes with each request: a few text entries describing it.
const Meta_info meta_info{{"service", "0x22"}, {"identifier", "0x2C56"}, {"tester", "0x0E80"}};

// Vectors are handed in with bytes already in them, so that any write shows.
const Bytes request_bytes{0x01, 0xA5, 0x5A};
const Bytes response_bytes{0xEE, 0x11};

class contract_virtual_slots : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(plugin.error(), "") << "dlopen of " << ZEVO_PLUGIN_PATH;
        ASSERT_TRUE(plugin.complete()) << "an entry point is missing";
    }

    /// Constructed and attached the way the host does before its first job.
    Owned_extension attached_did(std::uint16_t identifier) const {
        Owned_extension object{plugin.construct_did(identifier), plugin.did_destroyer()};
        if (object.get() != nullptr) {
            raw::attach(object.get(), "1");
        }
        return object;
    }
    Owned_extension attached_rid(std::uint16_t identifier) const {
        Owned_extension object{plugin.construct_rid(identifier), plugin.rid_destroyer()};
        if (object.get() != nullptr) {
            raw::attach(object.get(), "1");
        }
        return object;
    }

    Loaded_plugin plugin;
};

TEST_F(contract_virtual_slots, attach_and_detach_return_on_every_extension) {
    for (const auto& served : data_identifiers) {
        const Owned_extension object = attached_did(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        raw::detach(object.get());
    }
    for (const auto& served : routines) {
        const Owned_extension object = attached_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, read_on_every_data_identifier_returns_0x10_and_leaves_response_unchanged) {
    for (const auto& served : data_identifiers) {
        const Owned_extension object = attached_did(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        Bytes response = response_bytes;
        EXPECT_EQ(raw::read(object.get(), meta_info, response), general_reject) << served.class_name;
        EXPECT_EQ(response, response_bytes) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, write_on_every_data_identifier_returns_0_and_leaves_data_unchanged) {
    for (const auto& served : data_identifiers) {
        const Owned_extension object = attached_did(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        Bytes data = request_bytes;
        EXPECT_EQ(raw::write(object.get(), meta_info, data), positive) << served.class_name;
        EXPECT_EQ(data, request_bytes) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, cancel_on_every_data_identifier_returns_0) {
    for (const auto& served : data_identifiers) {
        const Owned_extension object = attached_did(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        EXPECT_EQ(raw::cancel_data(object.get(), meta_info), nothing_cancelled) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, start_on_every_routine_returns_0x10_and_leaves_both_vectors_unchanged) {
    for (const auto& served : routines) {
        const Owned_extension object = attached_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        Bytes request = request_bytes;
        Bytes response = response_bytes;
        EXPECT_EQ(raw::start(object.get(), request, meta_info, response), general_reject) << served.class_name;
        EXPECT_EQ(request, request_bytes) << served.class_name;
        EXPECT_EQ(response, response_bytes) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, stop_on_every_routine_returns_0_and_leaves_both_vectors_unchanged) {
    for (const auto& served : routines) {
        const Owned_extension object = attached_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        Bytes request = request_bytes;
        Bytes response = response_bytes;
        EXPECT_EQ(raw::stop(object.get(), request, meta_info, response), positive) << served.class_name;
        EXPECT_EQ(request, request_bytes) << served.class_name;
        EXPECT_EQ(response, response_bytes) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, request_results_on_every_routine_returns_0x10_and_leaves_both_vectors_unchanged) {
    for (const auto& served : routines) {
        const Owned_extension object = attached_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        Bytes request = request_bytes;
        Bytes response = response_bytes;
        EXPECT_EQ(raw::request_results(object.get(), request, meta_info, response), general_reject)
            << served.class_name;
        EXPECT_EQ(request, request_bytes) << served.class_name;
        EXPECT_EQ(response, response_bytes) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, cancel_on_every_routine_returns_0) {
    for (const auto& served : routines) {
        const Owned_extension object = attached_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        EXPECT_EQ(raw::cancel_routine(object.get(), meta_info), nothing_cancelled) << served.class_name;
        raw::detach(object.get());
    }
}

TEST_F(contract_virtual_slots, never_attached_extensions_answer_jobs_with_0x10_and_cancel_with_0) {
    const Owned_extension data{plugin.construct_did(0x2C55), plugin.did_destroyer()};
    const Owned_extension routine{plugin.construct_rid(0x0648), plugin.rid_destroyer()};
    ASSERT_NE(data.get(), nullptr);
    ASSERT_NE(routine.get(), nullptr);
    Bytes request = request_bytes;
    Bytes response = response_bytes;
    EXPECT_EQ(raw::read(data.get(), meta_info, response), general_reject);
    EXPECT_EQ(raw::cancel_data(data.get(), meta_info), nothing_cancelled);
    EXPECT_EQ(raw::start(routine.get(), request, meta_info, response), general_reject);
    EXPECT_EQ(raw::request_results(routine.get(), request, meta_info, response), general_reject);
    EXPECT_EQ(raw::cancel_routine(routine.get(), meta_info), nothing_cancelled);
    EXPECT_EQ(request, request_bytes);
    EXPECT_EQ(response, response_bytes);
}

// The host needs no class to end an object: the deleting destructor in slot 1 is enough.
TEST_F(contract_virtual_slots, deleting_destructor_slot_ends_every_extension_without_a_destroy_function) {
    for (const auto& served : data_identifiers) {
        Owned_extension object = attached_did(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        raw::detach(object.get());
        raw::deleting_destructor(object.release());
    }
    for (const auto& served : routines) {
        Owned_extension object = attached_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr) << served.class_name;
        raw::detach(object.get());
        raw::deleting_destructor(object.release());
    }
}

// Slot 0 destroys and leaves the memory: the object came from the ordinary global allocation, so
// the global operator delete gives it back. Had slot 0 released the memory itself, the sanitizer
// builds would report a double free here.
TEST_F(contract_virtual_slots, complete_destructor_slot_destroys_and_leaves_the_memory_to_the_caller) {
    Owned_extension data{plugin.construct_did(0x2C57), plugin.did_destroyer()};
    Owned_extension routine{plugin.construct_rid(0xC00A), plugin.rid_destroyer()};
    ASSERT_NE(data.get(), nullptr);
    ASSERT_NE(routine.get(), nullptr);
    for (void* object : {data.release(), routine.release()}) {
        raw::complete_destructor(object);
        ::operator delete(object);
    }
}

}  // namespace
}  // namespace contract_probe
