// The life of every extension through the numbered slots only, with no service offered anywhere
// in this process: detach before any attach, attach, attach again, detach, detach again, and the
// destroy function, with jobs between every two steps. Without a service the search finds
// nothing, so every job answers 0x10 and every cancel 0 at every step; what is under test is
// that each step returns and leaves the object usable, as a host built elsewhere relies on.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "loaded_plugin.h"
#include "raw_extension.h"
#include "served_identifiers.h"

namespace contract_probe {
namespace {

constexpr std::uint8_t general_reject = 0x10;
constexpr std::uint8_t nothing_cancelled = 0;

const Meta_info meta_info{{"service_id", "0x31"}, {"identifier", "0x0000"}, {"tester_address", "0x0E80"}};
const Bytes request_bytes{0x01, 0xA5, 0x5A};
const Bytes response_bytes{0xEE, 0x11};

/// One served identifier with the kind of its object.
struct Served_object {
    const Served_identifier* served;
    bool routine;
};

std::vector<Served_object> every_identifier() {
    std::vector<Served_object> all;
    for (const auto& served : data_identifiers) all.push_back({&served, false});
    for (const auto& served : routines) all.push_back({&served, true});
    return all;
}

/// Every job of the object's face answers as without a service and touches no vector.
void expect_no_service(void* object, const Served_object& kind, const char* when) {
    SCOPED_TRACE(std::string(kind.served->class_name) + ", " + when);
    Bytes request = request_bytes;
    Bytes response = response_bytes;
    if (kind.routine) {
        EXPECT_EQ(raw::start(object, request, meta_info, response), general_reject);
        EXPECT_EQ(raw::request_results(object, request, meta_info, response), general_reject);
        EXPECT_EQ(raw::cancel_routine(object, meta_info), nothing_cancelled);
    } else {
        EXPECT_EQ(raw::read(object, meta_info, response), general_reject);
        EXPECT_EQ(raw::cancel_data(object, meta_info), nothing_cancelled);
    }
    EXPECT_EQ(request, request_bytes);
    EXPECT_EQ(response, response_bytes);
}

class contract_attach_detach : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(plugin.error(), "") << "dlopen of " << ZEVO_PLUGIN_PATH;
        ASSERT_TRUE(plugin.complete()) << "an entry point is missing";
    }

    Owned_extension construct(const Served_object& kind) const {
        return kind.routine ? Owned_extension{plugin.construct_rid(kind.served->identifier), plugin.rid_destroyer()}
                            : Owned_extension{plugin.construct_did(kind.served->identifier), plugin.did_destroyer()};
    }

    Loaded_plugin plugin;
};

TEST_F(contract_attach_detach, every_extension_answers_0x10_at_every_step_of_its_life_without_a_service) {
    for (const Served_object& kind : every_identifier()) {
        Owned_extension object = construct(kind);
        ASSERT_NE(object.get(), nullptr) << kind.served->class_name;
        raw::detach(object.get());
        expect_no_service(object.get(), kind, "detached before any attach");
        raw::attach(object.get(), "1");
        expect_no_service(object.get(), kind, "attached");
        raw::attach(object.get(), "1");
        expect_no_service(object.get(), kind, "attached twice");
        raw::detach(object.get());
        expect_no_service(object.get(), kind, "detached");
        raw::detach(object.get());
        expect_no_service(object.get(), kind, "detached twice");
        object.reset();
    }
}

TEST_F(contract_attach_detach, all_ten_attached_together_then_detached_and_destroyed_in_the_hosts_order) {
    std::vector<Owned_extension> objects;
    const std::vector<Served_object> kinds = every_identifier();
    for (const Served_object& kind : kinds) {
        objects.push_back(construct(kind));
        ASSERT_NE(objects.back().get(), nullptr) << kind.served->class_name;
    }
    for (const Owned_extension& object : objects) raw::attach(object.get(), "1");
    for (std::size_t index = 0; index < objects.size(); ++index) {
        expect_no_service(objects[index].get(), kinds[index], "all attached");
    }
    for (const Owned_extension& object : objects) raw::detach(object.get());
    for (std::size_t index = 0; index < objects.size(); ++index) {
        expect_no_service(objects[index].get(), kinds[index], "all detached");
    }
    while (!objects.empty()) objects.pop_back();  // the last made goes first
}

TEST_F(contract_attach_detach, attach_then_detach_at_once_many_times_over_returns_every_time) {
    for (int round = 0; round < 20; ++round) {
        for (const Served_object& kind : every_identifier()) {
            Owned_extension object = construct(kind);
            ASSERT_NE(object.get(), nullptr) << kind.served->class_name;
            raw::attach(object.get(), "1");
            raw::detach(object.get());
        }
    }
}

TEST_F(contract_attach_detach, an_instance_other_than_1_is_searched_for_and_finds_nothing_either) {
    for (const Served_object& kind : every_identifier()) {
        Owned_extension object = construct(kind);
        ASSERT_NE(object.get(), nullptr) << kind.served->class_name;
        raw::attach(object.get(), "2");
        expect_no_service(object.get(), kind, "attached under instance 2");
        raw::detach(object.get());
    }
}

}  // namespace
}  // namespace contract_probe
