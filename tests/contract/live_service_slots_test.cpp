// Every extension driven through its numbered virtual slots with its service offered: the ten
// simulated services run in this process on the local binding, which the plug-in reaches through
// the same libara_com. Here each slot gives an answer that no other slot of the object gives,
// and the simulator's call counts tell what the service heard, so a host whose slots were
// shifted or swapped would fail. The jobs run on the test's thread.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <thread>

#include "elf_dynamic_table.h"
#include "loaded_plugin.h"
#include "raw_extension.h"
#include "ruv/com/local/provider_registry.h"
#include "served_identifiers.h"
#include "sim/key_simulator.h"
#include "sim/scenario.h"
#include "type_names.h"

namespace contract_probe {
namespace {

using zevo::sim::Method;

constexpr std::uint8_t positive = 0x00;
constexpr std::uint8_t incorrect_length = 0x13;
constexpr std::uint8_t cancel_issued = 1;

/// How long an extension may take to find its offered service, and a sent call to be counted.
constexpr std::chrono::seconds service_bound{5};

const Meta_info meta_info{{"service", "0x31"}, {"tester", "0x0E80"}};
const Bytes untouched{0xEE, 0x11};

/// A Start request the service accepts, and how many result bytes RequestResults then gives.
struct Routine_case {
    Bytes start_request;
    std::size_t result_size;
};

const std::map<std::uint16_t, Routine_case> routine_cases{
    {0x0648, {{0x01, 0xAB, 0xCD}, 2 + 2}},  // echo: the two data bytes come back behind status and progress
    {0xC00A, {{0x01, 0x1A, 0x07}, 2}},      // teach one key
    {0xC00B, {Bytes(17, 0x01), 2}},         // check a key list hash
    {0xC00C, {Bytes(17, 0x01), 2 + 16}},    // identity hash over a challenge
    {0xC00D, {{0x01}, 2 + 16}},             // key list hash
    {0xC00F, {{0x00}, 7 + 2 + 2}},          // state snapshot
};

/// Status and progress of a routine whose work is over (completed or failed): progress 100.
constexpr std::uint8_t progress_done = 100;

/// Calls `probe` until it is true, at most `bound`; the discovery runs on the runtime's threads.
template <class Probe>
bool within(std::chrono::seconds bound, Probe&& probe) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!probe()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// The mangled name of the function exported from the plug-in file whose demangled name begins
/// with `qualified` and an opening parenthesis; empty when there is none.
std::string exported_function(const std::string& qualified) {
    for (const Dynamic_symbol& symbol : read_dynamic_table(ZEVO_PLUGIN_PATH).symbols) {
        if (symbol.defined && symbol.type == STT_FUNC &&
            demangle(symbol.name.c_str()).value_or("").rfind(qualified + "(", 0) == 0) {
            return symbol.name;
        }
    }
    return {};
}

class contract_live_service : public ::testing::Test {
protected:
    static zevo::sim::Simulator_options options() {
        zevo::sim::Simulator_options chosen;
        chosen.scenario.routine_duration = std::chrono::milliseconds(0);  // results complete at once
        return chosen;
    }

    void SetUp() override {
        ASSERT_EQ(plugin.error(), "") << "dlopen of " << ZEVO_PLUGIN_PATH;
        ASSERT_TRUE(plugin.complete()) << "an entry point is missing";
        simulator.offer_all();
    }

    /// Attached and with its service found: a read answers 0 (and reaches the service).
    Owned_extension served_did(std::uint16_t identifier) const {
        Owned_extension object{plugin.construct_did(identifier), plugin.did_destroyer()};
        if (object.get() == nullptr) {
            ADD_FAILURE() << "no object for " << std::hex << identifier;
            return object;
        }
        raw::attach(object.get(), "1");
        const bool found = within(service_bound, [&] {
            Bytes response;
            return raw::read(object.get(), meta_info, response) == positive;
        });
        EXPECT_TRUE(found) << std::hex << identifier << " never answered a read with 0";
        return object;
    }

    /// Attached and with its service found: a Start without option bytes answers 0x13 before
    /// anything is sent.
    Owned_extension served_rid(std::uint16_t identifier) const {
        Owned_extension object{plugin.construct_rid(identifier), plugin.rid_destroyer()};
        if (object.get() == nullptr) {
            ADD_FAILURE() << "no object for " << std::hex << identifier;
            return object;
        }
        raw::attach(object.get(), "1");
        const bool found = within(service_bound, [&] {
            Bytes request;
            Bytes response;
            return raw::start(object.get(), request, meta_info, response) == incorrect_length;
        });
        EXPECT_TRUE(found) << std::hex << identifier << " never answered an empty start with 0x13";
        return object;
    }

    /// Waits until the service has counted `count` calls of `method`, then checks that it is
    /// exactly that many.
    void expect_heard(std::uint16_t identifier, Method method, unsigned count, const char* what) const {
        within(service_bound, [&] { return simulator.calls(identifier, method) >= count; });
        EXPECT_EQ(simulator.calls(identifier, method), count) << what << " of " << std::hex << identifier;
    }

    Loaded_plugin plugin;
    zevo::sim::Key_simulator simulator{ruv::com::local::Provider_registry::process(), options()};
};

TEST_F(contract_live_service, data_identifier_slots_each_give_their_own_answer_and_the_service_hears_only_theirs) {
    for (const auto& served : data_identifiers) {
        SCOPED_TRACE(served.class_name);
        const Owned_extension object = served_did(served.identifier);
        ASSERT_NE(object.get(), nullptr);
        const unsigned reads = simulator.calls(served.identifier, Method::read_or_results);
        ASSERT_EQ(simulator.calls(served.identifier, Method::cancel), 0U);

        Bytes response = untouched;
        EXPECT_EQ(raw::read(object.get(), meta_info, response), positive);
        ASSERT_GT(response.size(), untouched.size()) << "read appended no record";
        EXPECT_EQ(Bytes(response.begin(), response.begin() + 2), untouched);
        EXPECT_EQ(simulator.calls(served.identifier, Method::read_or_results), reads + 1);

        Bytes data = untouched;
        EXPECT_EQ(raw::write(object.get(), meta_info, data), positive);
        EXPECT_EQ(data, untouched);

        EXPECT_EQ(raw::cancel_data(object.get(), meta_info), cancel_issued);
        // The Cancel is sent without waiting; write before it must have added nothing.
        expect_heard(served.identifier, Method::cancel, 1, "Cancel");
        Bytes after = untouched;
        EXPECT_EQ(raw::read(object.get(), meta_info, after), positive);  // the job forgets the cancel
        EXPECT_EQ(simulator.calls(served.identifier, Method::read_or_results), reads + 2)
            << "only the two reads were heard as Read";
        EXPECT_EQ(simulator.calls(served.identifier, Method::cancel), 1U) << "write was heard as a Cancel";
        raw::detach(object.get());
    }
}

TEST_F(contract_live_service, routine_slots_each_give_their_own_answer_and_the_service_hears_only_theirs) {
    for (const auto& served : routines) {
        SCOPED_TRACE(served.class_name);
        const Routine_case& sample = routine_cases.at(served.identifier);
        const Owned_extension object = served_rid(served.identifier);
        ASSERT_NE(object.get(), nullptr);
        ASSERT_EQ(simulator.calls(served.identifier, Method::start), 0U);
        ASSERT_EQ(simulator.calls(served.identifier, Method::read_or_results), 0U);
        ASSERT_EQ(simulator.calls(served.identifier, Method::cancel), 0U);

        Bytes request = sample.start_request;
        Bytes response = untouched;
        EXPECT_EQ(raw::start(object.get(), request, meta_info, response), positive);
        EXPECT_EQ(request, sample.start_request);
        EXPECT_EQ(response, untouched) << "start writes no response";
        EXPECT_EQ(simulator.calls(served.identifier, Method::start), 1U) << "start was not heard as Start";
        EXPECT_EQ(simulator.calls(served.identifier, Method::read_or_results), 0U);

        request = sample.start_request;
        response = untouched;
        EXPECT_EQ(raw::stop(object.get(), request, meta_info, response), positive);
        EXPECT_EQ(request, sample.start_request);
        EXPECT_EQ(response, untouched);

        request = sample.start_request;
        response = untouched;
        EXPECT_EQ(raw::request_results(object.get(), request, meta_info, response), positive);
        EXPECT_EQ(request, sample.start_request);
        ASSERT_EQ(response.size(), untouched.size() + sample.result_size) << "not the routine's result record";
        EXPECT_EQ(Bytes(response.begin(), response.begin() + 2), untouched);
        EXPECT_EQ(response[3], progress_done) << "the work is over at once";
        EXPECT_EQ(simulator.calls(served.identifier, Method::read_or_results), 1U);

        EXPECT_EQ(raw::cancel_routine(object.get(), meta_info), cancel_issued);
        expect_heard(served.identifier, Method::cancel, 1, "Cancel");

        // stop, between them, was heard as nothing at all.
        EXPECT_EQ(simulator.calls(served.identifier, Method::start), 1U) << "stop was heard as a Start";
        EXPECT_EQ(simulator.calls(served.identifier, Method::read_or_results), 1U);
        raw::detach(object.get());
    }
}

// write and stop are not overridden: the slots hold the base classes' own exported functions.
TEST_F(contract_live_service, write_and_stop_slots_point_at_the_exported_base_class_functions) {
    const Owned_extension data{plugin.construct_did(0x2C56), plugin.did_destroyer()};
    const Owned_extension routine{plugin.construct_rid(0xC00F), plugin.rid_destroyer()};
    ASSERT_NE(data.get(), nullptr);
    ASSERT_NE(routine.get(), nullptr);

    const struct {
        void* object;
        std::size_t slot;
        const char* function;
    } defaults[] = {
        {data.get(), did_slot::write, "ruv::dm::foundation::extension::Extension_data_identifier::write"},
        {routine.get(), rid_slot::stop, "ruv::dm::foundation::extension::Extension_routine_control::stop"},
    };
    for (const auto& expected : defaults) {
        SCOPED_TRACE(expected.function);
        void* const code = raw::virtual_table(expected.object)[expected.slot];
        // dladdr: the slot is the start of a function that the plug-in file exports.
        Dl_info info{};
        ASSERT_NE(dladdr(code, &info), 0) << "the slot points into no loaded file";
        ASSERT_NE(info.dli_fname, nullptr);
        EXPECT_NE(std::string{info.dli_fname}.find("libzevo_dm_extension.so"), std::string::npos) << info.dli_fname;
        ASSERT_NE(info.dli_sname, nullptr) << "no exported symbol covers the slot";
        EXPECT_EQ(info.dli_saddr, code) << "the slot points inside " << info.dli_sname << ", not at its start";
        // The base class's function by its own exported name is at that address. Functions with
        // the same machine code may share it, so dladdr may name any of them: the name is
        // looked up, not read back.
        const std::string mangled = exported_function(expected.function);
        ASSERT_FALSE(mangled.empty()) << "the plug-in exports no " << expected.function;
        EXPECT_EQ(plugin.symbol(mangled.c_str()), code) << mangled << " is not where the slot points";
    }
}

}  // namespace
}  // namespace contract_probe
