// Making, attaching, detaching and destroying the extensions of a plug-in, with entry points
// that are test-local functions making fake extensions (no shared object involved).

#include "host/extension_set.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "fake_extensions.h"
#include "host/hex_bytes.h"

namespace zevo::host {
namespace {

using ruv::dm::foundation::extension::Extension;
using testing::Fake_data_identifier;
using testing::Fake_routine;
using Bytes = std::vector<std::uint8_t>;

/// What the fake entry points serve and what happened to their objects.
struct Fake_plugin {
    std::vector<std::uint16_t> did_table = {0x2C60, 0x2C56};
    std::vector<std::uint16_t> rid_table = {0xC00F, 0x0648};
    std::uint16_t refused = 0;         // construct gives null for this identifier
    std::vector<std::string> events;   // "construct did 2C60", "destroy rid C00F detached 1"...
    std::vector<Fake_data_identifier*> dids;
    std::vector<Fake_routine*> rids;
};
Fake_plugin* plugin = nullptr;  // the fixture's

const std::uint16_t* fake_get_did_info(std::uint16_t* count) {
    *count = static_cast<std::uint16_t>(plugin->did_table.size());
    return plugin->did_table.data();
}
const std::uint16_t* fake_get_rid_info(std::uint16_t* count) {
    *count = static_cast<std::uint16_t>(plugin->rid_table.size());
    return plugin->rid_table.data();
}
Extension* fake_construct_did(std::uint16_t identifier) {
    plugin->events.push_back("construct did " + format_hex_value(identifier, 4));
    if (identifier == plugin->refused) return nullptr;
    plugin->dids.push_back(new Fake_data_identifier);
    plugin->dids.back()->record = {static_cast<std::uint8_t>(identifier)};
    return plugin->dids.back();
}
Extension* fake_construct_rid(std::uint16_t identifier) {
    plugin->events.push_back("construct rid " + format_hex_value(identifier, 4));
    if (identifier == plugin->refused) return nullptr;
    plugin->rids.push_back(new Fake_routine);
    plugin->rids.back()->results = {static_cast<std::uint8_t>(identifier)};
    return plugin->rids.back();
}
void fake_destroy_did(Extension* extension) {
    auto* did = static_cast<Fake_data_identifier*>(extension);
    plugin->events.push_back("destroy did " + format_hex_value(did->record.at(0), 2) + " detached " +
                             std::to_string(did->detach_count));
    delete extension;
}
void fake_destroy_rid(Extension* extension) {
    auto* rid = static_cast<Fake_routine*>(extension);
    plugin->events.push_back("destroy rid " + format_hex_value(rid->results.at(0), 2) + " detached " +
                             std::to_string(rid->detach_count));
    delete extension;
}

class host_extension_set : public ::testing::Test {
protected:
    host_extension_set() { plugin = &fake; }
    ~host_extension_set() override { plugin = nullptr; }

    Fake_plugin fake;
    const Plugin_entry_points entry_points{fake_get_did_info, fake_get_rid_info, fake_construct_did,
                                           fake_construct_rid, fake_destroy_did,  fake_destroy_rid};
};

TEST_F(host_extension_set, makes_one_extension_per_table_entry_in_table_order) {
    const Extension_set sut(entry_points);
    EXPECT_EQ(sut.data_identifiers(), (std::vector<std::uint16_t>{0x2C60, 0x2C56}));
    EXPECT_EQ(sut.routines(), (std::vector<std::uint16_t>{0xC00F, 0x0648}));
    EXPECT_EQ(fake.events, (std::vector<std::string>{"construct did 2C60", "construct did 2C56",
                                                      "construct rid C00F", "construct rid 0648"}));
}

TEST_F(host_extension_set, each_extension_is_found_by_its_identifier_and_kind) {
    const Extension_set sut(entry_points);
    EXPECT_EQ(&sut.data_identifier(0x2C56), fake.dids.at(1));
    EXPECT_EQ(&sut.routine(0xC00F), fake.rids.at(0));
}

TEST_F(host_extension_set, an_identifier_not_served_as_that_kind_is_refused) {
    const Extension_set sut(entry_points);
    try {
        sut.data_identifier(0xC00F);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "data identifier 0xC00F is not served");
    }
    try {
        sut.routine(0x2C56);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "routine 0x2C56 is not served");
    }
}

TEST_F(host_extension_set, attach_hands_the_instance_text_to_every_extension) {
    Extension_set sut(entry_points);
    sut.attach_all("Instance_7");
    for (auto* did : fake.dids) EXPECT_EQ(did->attached_with, (std::vector<std::string>{"Instance_7"}));
    for (auto* rid : fake.rids) EXPECT_EQ(rid->attached_with, (std::vector<std::string>{"Instance_7"}));
}

TEST_F(host_extension_set, end_detaches_all_then_destroys_last_made_first_with_the_destroy_of_its_kind) {
    {
        Extension_set sut(entry_points);
        sut.attach_all("1");
        fake.events.clear();
    }
    EXPECT_EQ(fake.events, (std::vector<std::string>{"destroy rid 48 detached 1", "destroy rid 0F detached 1",
                                                     "destroy did 56 detached 1", "destroy did 60 detached 1"}));
}

TEST_F(host_extension_set, explicit_detach_is_not_repeated_at_the_end) {
    {
        Extension_set sut(entry_points);
        sut.attach_all("1");
        sut.detach_all();
        fake.events.clear();
    }
    EXPECT_EQ(fake.events.front(), "destroy rid 48 detached 1");
    EXPECT_EQ(fake.events.back(), "destroy did 60 detached 1");
}

TEST_F(host_extension_set, never_attached_extensions_are_destroyed_without_detach) {
    {
        const Extension_set sut(entry_points);
        fake.events.clear();
    }
    EXPECT_EQ(fake.events, (std::vector<std::string>{"destroy rid 48 detached 0", "destroy rid 0F detached 0",
                                                     "destroy did 56 detached 0", "destroy did 60 detached 0"}));
}

TEST_F(host_extension_set, identifier_the_plugin_will_not_construct_is_an_error_and_the_rest_is_destroyed) {
    fake.refused = 0xC00F;
    try {
        const Extension_set sut(entry_points);
        FAIL() << "no error";
    } catch (const Plugin_error& error) {
        EXPECT_STREQ(error.what(), "the plug-in lists routine 0xC00F but constructs no extension for it");
    }
    EXPECT_EQ(fake.events, (std::vector<std::string>{"construct did 2C60", "construct did 2C56", "construct rid C00F",
                                                     "destroy did 56 detached 0", "destroy did 60 detached 0"}));
}

TEST_F(host_extension_set, served_extensions_answer_through_the_dispatcher_by_kind) {
    const Extension_set sut(entry_points);
    Uds_dispatcher dispatcher(0x0E80);
    sut.serve_with(dispatcher);
    EXPECT_EQ(dispatcher.dispatch({0x22, 0x2C, 0x56}).bytes, (Bytes{0x62, 0x2C, 0x56, 0x56}));
    EXPECT_EQ(dispatcher.dispatch({0x31, 0x03, 0x06, 0x48}).bytes, (Bytes{0x71, 0x03, 0x06, 0x48, 0x48}));
    EXPECT_EQ(dispatcher.dispatch({0x22, 0x06, 0x48}).bytes, (Bytes{0x7F, 0x22, 0x31}));
}

TEST_F(host_extension_set, refused_data_identifier_destroys_those_made_before_it_last_first) {
    fake.did_table = {0x2C60, 0x2C57, 0x2C56};
    fake.refused = 0x2C56;
    EXPECT_THROW(Extension_set{entry_points}, Plugin_error);
    EXPECT_EQ(fake.events, (std::vector<std::string>{"construct did 2C60", "construct did 2C57", "construct did 2C56",
                                                     "destroy did 57 detached 0", "destroy did 60 detached 0"}));
}

TEST_F(host_extension_set, empty_tables_make_no_extension) {
    fake.did_table.clear();
    fake.rid_table.clear();
    const Extension_set sut(entry_points);
    EXPECT_TRUE(sut.data_identifiers().empty());
    EXPECT_TRUE(sut.routines().empty());
}

}  // namespace
}  // namespace zevo::host
