#pragma once
// What the discovery tests of the ten extensions share: waiting until an extension's search has
// handled the registry's latest change, and the answers of its jobs with and without a service.
// Used from the test's thread; the jobs run there.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/discovery/discovery_sync.h"
#include "tests/discovery/sample_services.h"

namespace zevo::test {

/// Takes the registry's next list from `watch`, which must hold `count` services, and waits until
/// the extension's search has handled it (its strand serves a marker posted behind it, or, once
/// stopped, drops it). `watch` must have been made after the extension's attach.
template <class Class>
testing::AssertionResult settled(Extension_probe<Class>& extension, Registry_watch& watch, std::size_t count) {
    const std::optional<Service_records> list = watch.next();
    if (!list) {
        return testing::AssertionFailure() << "the registry told no list within " << discovery_bound.count() << " s";
    }
    if (list->size() != count) {
        return testing::AssertionFailure() << "the registry told " << list->size() << " services, not " << count;
    }
    switch (pass_marker(extension.strand())) {
        case Marker::ran:
        case Marker::dropped:
            return testing::AssertionSuccess();
        case Marker::hung:
            break;
    }
    return testing::AssertionFailure() << "the search's strand served no marker within " << discovery_bound.count()
                                       << " s";
}

/// Without a service: every job answers 0x10 and leaves its response alone, cancel answers 0.
template <class Class>
void expect_refused(Class& extension, const std::string& when) {
    SCOPED_TRACE(when);
    std::vector<std::uint8_t> response{0xEE};
    EXPECT_EQ(results_job(extension, response), 0x10);
    EXPECT_EQ(response, std::vector<std::uint8_t>{0xEE});
    EXPECT_EQ(start_job(extension), 0x10);
    EXPECT_EQ(cancel_job(extension), 0);
}

/// With the sample service: the results job answers 0 with the sample record, Start 0, cancel 1.
template <class Class>
void expect_served(Class& extension, const std::string& when) {
    SCOPED_TRACE(when);
    std::vector<std::uint8_t> response;
    EXPECT_EQ(results_job(extension, response), 0);
    EXPECT_EQ(response, sample_record<Class>());
    EXPECT_EQ(start_job(extension), 0);
    EXPECT_EQ(cancel_job(extension), 1);
}

}  // namespace zevo::test
