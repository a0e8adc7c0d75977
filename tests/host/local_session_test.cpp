// The host's extension set and dispatcher with the built plug-in loaded by path, against ten
// providers offered in this process: the plug-in's discovery finds them in the registry that this
// program and the plug-in share (one libara_com), and UDS requests come back with the records the
// providers answer. Every wait for discovery is the host's own bounded wait.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "host/extension_set.h"
#include "host/plugin_library.h"
#include "host/service_wait.h"
#include "host/uds_dispatcher.h"
#include "ruv/com/local/offer.h"
#include "tests/bindings/record_samples.h"
#include "tests/discovery/sample_providers.h"
#include "tests/someip/service_methods.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using ruv::com::local::Offer;
using zevo::host::Extension_set;
using zevo::host::Plugin_library;
using zevo::host::Uds_dispatcher;
using zevo::test::methods::All_services;
using zevo::test::methods::for_each_type;
using zevo::test::methods::Is_routine;

constexpr std::chrono::seconds discovery_bound{10};

Bytes big_endian(std::uint16_t identifier) {
    return {static_cast<std::uint8_t>(identifier >> 8), static_cast<std::uint8_t>(identifier & 0xFF)};
}

Bytes joined(Bytes head, const Bytes& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

/// Long enough for the Start of every routine.
const Bytes start_options(17, 0x5A);

class Local_session : public testing::Test {
protected:
    Local_session() : plugin(ZEVO_TEST_PLUGIN_PATH), extensions(plugin.entry_points()), dispatcher(0x0E80) {}

    void SetUp() override {
        for_each_type<All_services>([this](auto service) {
            using Service = typename decltype(service)::type;
            offers.push_back(zevo::test::offer_sample<typename Service::Interface>());
            (Is_routine<typename Service::Interface>::value ? routines : data_identifiers).push_back(Service::identifier);
        });
        extensions.attach_all("1");
        extensions.serve_with(dispatcher);
        ASSERT_TRUE(all_found(joined_identifiers(), true));
    }

    void TearDown() override { extensions.detach_all(); }

    std::vector<std::uint16_t> joined_identifiers() const {
        std::vector<std::uint16_t> all = data_identifiers;
        all.insert(all.end(), routines.begin(), routines.end());
        return all;
    }

    /// Waits, bounded, until the extensions of `identifiers` have found (or lost) their services.
    testing::AssertionResult all_found(const std::vector<std::uint16_t>& identifiers, bool found) const {
        const auto result = zevo::host::wait_for_services(
            identifiers, found, [this](std::uint16_t identifier) { return dispatcher.has_found_service(identifier); },
            discovery_bound, [] { return false; });
        if (result.reached()) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "still " << (found ? "without" : "with") << " a service after "
                                           << result.waited.count()
                                           << " ms: " << zevo::host::format_identifiers(result.pending);
    }

    Bytes answer(const Bytes& request) const { return dispatcher.dispatch(request).bytes; }

    Plugin_library plugin;
    Extension_set extensions;
    Uds_dispatcher dispatcher;
    std::vector<std::uint16_t> data_identifiers;
    std::vector<std::uint16_t> routines;
    std::vector<Offer> offers;  // withdrawn first, while the extensions still listen
};

/// The record of the sample Output of the interface that serves `identifier`.
Bytes record_of(std::uint16_t identifier) {
    Bytes record;
    for_each_type<All_services>([&](auto service) {
        using Service = typename decltype(service)::type;
        if (Service::identifier == identifier) record = zevo::test::Record_sample<typename Service::Interface>::bytes();
    });
    return record;
}

TEST_F(Local_session, read_of_0x2C56_answers_62_2C56_and_the_training_counter_record) {
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), (Bytes{0x62, 0x2C, 0x56, 0x07, 0x12, 0x34}));
}

TEST_F(Local_session, every_data_identifier_answers_its_record_and_one_request_reads_all_four) {
    Bytes request{0x22};
    Bytes expected{0x62};
    for (std::uint16_t did : data_identifiers) {
        SCOPED_TRACE(did);
        EXPECT_EQ(answer(joined({0x22}, big_endian(did))), joined(joined({0x62}, big_endian(did)), record_of(did)));
        request = joined(request, big_endian(did));
        expected = joined(joined(expected, big_endian(did)), record_of(did));
    }
    EXPECT_EQ(answer(request), expected);
}

TEST_F(Local_session, every_routine_starts_stops_and_gives_its_results) {
    for (std::uint16_t rid : routines) {
        SCOPED_TRACE(rid);
        EXPECT_EQ(answer(joined(joined({0x31, 0x01}, big_endian(rid)), start_options)),
                  joined({0x71, 0x01}, big_endian(rid)));
        EXPECT_EQ(answer(joined({0x31, 0x02}, big_endian(rid))), joined({0x71, 0x02}, big_endian(rid)));
        EXPECT_EQ(answer(joined({0x31, 0x03}, big_endian(rid))), joined(joined({0x71, 0x03}, big_endian(rid)), record_of(rid)));
    }
}

TEST_F(Local_session, a_withdrawn_service_is_answered_with_7F_10_until_it_is_offered_again) {
    const std::size_t counter = 1;  // 0x2C56 in the order of the service list
    ASSERT_EQ(data_identifiers[counter], 0x2C56);
    offers[counter].withdraw();
    ASSERT_TRUE(all_found({0x2C56}, false));
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), (Bytes{0x7F, 0x22, 0x10}));
    EXPECT_EQ(answer({0x22, 0x2C, 0x55}), joined({0x62, 0x2C, 0x55}, record_of(0x2C55))) << "the others go on";

    offers[counter] = zevo::test::offer_sample<talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter>();
    ASSERT_TRUE(all_found({0x2C56}, true));
    EXPECT_EQ(answer({0x22, 0x2C, 0x56}), (Bytes{0x62, 0x2C, 0x56, 0x07, 0x12, 0x34}));
}

}  // namespace
