// Loading plug-ins with dlopen: the plug-in built in this tree, a path that does not exist and a
// shared object that lacks entry points.

#include "host/plugin_library.h"

#include <gtest/gtest.h>

#include "host/extension_set.h"
#include "host/uds_dispatcher.h"

namespace zevo::host {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string error_loading(const std::string& path) {
    try {
        const Plugin_library library(path);
    } catch (const Plugin_error& error) {
        return error.what();
    }
    return "no error";
}

TEST(host_plugin_library, built_plugin_resolves_all_six_entry_points) {
    const Plugin_library sut(ZEVO_TEST_PLUGIN_PATH);
    const Plugin_entry_points& entry_points = sut.entry_points();
    EXPECT_NE(entry_points.get_did_info, nullptr);
    EXPECT_NE(entry_points.get_rid_info, nullptr);
    EXPECT_NE(entry_points.construct_extension_did, nullptr);
    EXPECT_NE(entry_points.construct_extension_rid, nullptr);
    EXPECT_NE(entry_points.destroy_extension_did, nullptr);
    EXPECT_NE(entry_points.destroy_extension_rid, nullptr);
    EXPECT_EQ(sut.path(), ZEVO_TEST_PLUGIN_PATH);
}

TEST(host_plugin_library, built_plugin_serves_its_ten_identifiers_in_table_order) {
    const Plugin_library sut(ZEVO_TEST_PLUGIN_PATH);
    const Extension_set extensions(sut.entry_points());
    EXPECT_EQ(extensions.data_identifiers(), (std::vector<std::uint16_t>{0x2C60, 0x2C57, 0x2C56, 0x2C55}));
    EXPECT_EQ(extensions.routines(),
              (std::vector<std::uint16_t>{0xC00B, 0xC00C, 0xC00D, 0xC00F, 0xC00A, 0x0648}));
}

TEST(host_plugin_library, built_plugin_extensions_answer_0x10_without_their_service) {
    const Plugin_library sut(ZEVO_TEST_PLUGIN_PATH);
    Extension_set extensions(sut.entry_points());
    extensions.attach_all("1");
    Uds_dispatcher dispatcher(0x0E80);
    extensions.serve_with(dispatcher);
    EXPECT_EQ(dispatcher.dispatch({0x22, 0x2C, 0x56}).bytes, (Bytes{0x7F, 0x22, 0x10}));
    EXPECT_EQ(dispatcher.dispatch({0x31, 0x03, 0xC0, 0x0F}).bytes, (Bytes{0x7F, 0x31, 0x10}));
    // write and stop are the base classes' positive defaults in every served extension
    EXPECT_EQ(dispatcher.dispatch({0x2E, 0x2C, 0x56, 0x01}).bytes, (Bytes{0x6E, 0x2C, 0x56}));
    EXPECT_EQ(dispatcher.dispatch({0x31, 0x02, 0xC0, 0x0F}).bytes, (Bytes{0x71, 0x02, 0xC0, 0x0F}));
    extensions.detach_all();
}

TEST(host_plugin_library, missing_file_is_an_error_naming_the_path) {
    const std::string message = error_loading("/nonexistent/libzevo_dm_extension.so");
    EXPECT_EQ(message.rfind("cannot load plug-in /nonexistent/libzevo_dm_extension.so: ", 0), 0u) << message;
}

TEST(host_plugin_library, missing_entry_point_is_an_error_naming_it) {
    const std::string message = error_loading(ZEVO_TEST_INCOMPLETE_PLUGIN_PATH);
    EXPECT_NE(message.find("lacks the entry point construct_extension_did"), std::string::npos) << message;
}

}  // namespace
}  // namespace zevo::host
