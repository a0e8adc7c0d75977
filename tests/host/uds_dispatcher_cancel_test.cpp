// The dispatcher's jobs cancelled from another thread, an interrupted dispatcher, and the probes
// that tell whether an extension has found its service.

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

#include "held_fakes.h"
#include "host/request_meta_info.h"
#include "host/uds_dispatcher.h"

namespace zevo::host {
namespace {

using testing::Held_data_identifier;
using testing::Held_routine;
using Bytes = std::vector<std::uint8_t>;
constexpr std::chrono::seconds bound{10};

class host_uds_dispatcher_cancel : public ::testing::Test {
protected:
    host_uds_dispatcher_cancel() {
        sut.add_data_identifier(0x2C56, training_counter);
        sut.add_routine(0xC00A, download_container);
    }

    Held_data_identifier training_counter;
    Held_routine download_container;
    Uds_dispatcher sut{0x0E80};
};

TEST_F(host_uds_dispatcher_cancel, x22_cancel_all_releases_a_held_read_which_answers_62_did_without_record) {
    training_counter.job.hold = true;
    std::future<Uds_response> answer = std::async(std::launch::async, [&] { return sut.dispatch({0x22, 0x2C, 0x56}); });
    ASSERT_TRUE(training_counter.job.wait_until_holding(bound));
    EXPECT_EQ(sut.job_runner().cancel_all(), 1u);
    ASSERT_EQ(answer.wait_for(bound), std::future_status::ready);
    const Uds_response response = answer.get();
    EXPECT_EQ(response.bytes, (Bytes{0x62, 0x2C, 0x56}));
    EXPECT_TRUE(response.cancelled);
    ASSERT_EQ(training_counter.job.cancel_meta_infos().size(), 1u);
    EXPECT_EQ(training_counter.job.cancel_meta_infos()[0], make_request_meta_info(0x22, std::nullopt, 0x2C56, 0x0E80))
        << "cancel gets the meta_info of the job it cancels";
}

TEST_F(host_uds_dispatcher_cancel, x31_01_cancel_all_releases_a_held_start_which_answers_71_01_rid) {
    download_container.job.hold = true;
    std::future<Uds_response> answer =
        std::async(std::launch::async, [&] { return sut.dispatch({0x31, 0x01, 0xC0, 0x0A, 0x01}); });
    ASSERT_TRUE(download_container.job.wait_until_holding(bound));
    EXPECT_EQ(sut.job_runner().cancel_all(), 1u);
    ASSERT_EQ(answer.wait_for(bound), std::future_status::ready);
    const Uds_response response = answer.get();
    EXPECT_EQ(response.bytes, (Bytes{0x71, 0x01, 0xC0, 0x0A}));
    EXPECT_TRUE(response.cancelled);
    EXPECT_EQ(download_container.job.cancel_meta_infos().at(0),
              make_request_meta_info(0x31, 0x01, 0xC00A, 0x0E80));
}

TEST_F(host_uds_dispatcher_cancel, an_answered_job_is_not_marked_cancelled) {
    const Uds_response response = sut.dispatch({0x22, 0x2C, 0x56});
    EXPECT_EQ(response.bytes, (Bytes{0x62, 0x2C, 0x56, 0x00, 0x05}));
    EXPECT_FALSE(response.cancelled);
    EXPECT_EQ(training_counter.job.cancels(), 0);
}

TEST_F(host_uds_dispatcher_cancel, after_interrupt_a_request_answers_0x10_and_reaches_no_extension) {
    sut.job_runner().interrupt();
    training_counter.job.hold = true;  // a job that ran would never return
    const Uds_response response = sut.dispatch({0x22, 0x2C, 0x56});
    EXPECT_EQ(response.bytes, (Bytes{0x7F, 0x22, 0x10}));
    EXPECT_EQ(response.job_error, "the job was not run: the host was interrupted");
}

TEST_F(host_uds_dispatcher_cancel, interrupt_during_a_held_job_cancels_it) {
    download_container.job.hold = true;
    std::future<Uds_response> answer =
        std::async(std::launch::async, [&] { return sut.dispatch({0x31, 0x03, 0xC0, 0x0A}); });
    ASSERT_TRUE(download_container.job.wait_until_holding(bound));
    sut.job_runner().interrupt();
    ASSERT_EQ(answer.wait_for(bound), std::future_status::ready);
    EXPECT_EQ(answer.get().bytes, (Bytes{0x71, 0x03, 0xC0, 0x0A}));
}

// ---- has_found_service

TEST_F(host_uds_dispatcher_cancel, data_identifier_has_its_service_when_its_cancel_answers_1) {
    EXPECT_TRUE(sut.has_found_service(0x2C56));
    EXPECT_EQ(training_counter.job.cancels(), 1);
    training_counter.job.found = false;
    EXPECT_FALSE(sut.has_found_service(0x2C56));
}

TEST_F(host_uds_dispatcher_cancel, data_identifier_probe_cancel_is_forgotten_by_the_next_read) {
    ASSERT_TRUE(sut.has_found_service(0x2C56));
    EXPECT_EQ(sut.dispatch({0x22, 0x2C, 0x56}).bytes, (Bytes{0x62, 0x2C, 0x56, 0x00, 0x05}));
}

TEST_F(host_uds_dispatcher_cancel, routine_has_its_service_when_start_without_options_is_not_0x10) {
    EXPECT_TRUE(sut.has_found_service(0xC00A));
    EXPECT_EQ(download_container.job.cancels(), 0) << "a routine is probed without a cancel";
    download_container.job.found = false;
    EXPECT_FALSE(sut.has_found_service(0xC00A));
}

TEST_F(host_uds_dispatcher_cancel, probe_of_an_unserved_identifier_throws) {
    try {
        sut.has_found_service(0x2C58);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "identifier 0x2C58 is not served");
    }
}

TEST(host_uds_dispatcher_probe, a_number_served_as_did_and_rid_needs_both_services) {
    Held_data_identifier did;
    Held_routine rid;
    Uds_dispatcher sut{0x0E80};
    sut.add_data_identifier(0x1234, did);
    sut.add_routine(0x1234, rid);
    EXPECT_TRUE(sut.has_found_service(0x1234));
    rid.job.found = false;
    EXPECT_FALSE(sut.has_found_service(0x1234));
    rid.job.found = true;
    did.job.found = false;
    EXPECT_FALSE(sut.has_found_service(0x1234));
}

}  // namespace
}  // namespace zevo::host
