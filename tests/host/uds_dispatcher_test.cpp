// The mapping of UDS requests onto extensions, with fake extensions: positive responses, every
// negative response path, meta_info contents and the worker thread.

#include "host/uds_dispatcher.h"

#include <gtest/gtest.h>

#include <thread>

#include "fake_extensions.h"
#include "host/request_meta_info.h"

namespace zevo::host {
namespace {

using testing::Fake_data_identifier;
using testing::Fake_routine;
using ruv::dm::foundation::extension::Meta_info;
using Bytes = std::vector<std::uint8_t>;

class host_uds_dispatcher : public ::testing::Test {
protected:
    host_uds_dispatcher() {
        sut.add_data_identifier(0x2C56, training_counter);
        sut.add_data_identifier(0x2C55, vin);
        sut.add_routine(0xC00F, get_state);
        sut.add_routine(0x0648, debug);
    }

    Bytes send(const Bytes& request) {
        const Uds_response response = sut.dispatch(request);
        EXPECT_FALSE(response.suppressed) << "request " << ::testing::PrintToString(request);
        return response.bytes;
    }

    Fake_data_identifier training_counter;
    Fake_data_identifier vin;
    Fake_routine get_state;
    Fake_routine debug;
    Uds_dispatcher sut{0x0E80};
};

// ---- 0x22 ReadDataByIdentifier

TEST_F(host_uds_dispatcher, x22_read_of_one_did_answers_62_did_and_record) {
    training_counter.record = {0x01, 0x02, 0x03};
    EXPECT_EQ(send({0x22, 0x2C, 0x56}), (Bytes{0x62, 0x2C, 0x56, 0x01, 0x02, 0x03}));
    ASSERT_EQ(training_counter.calls.size(), 1u);
    EXPECT_EQ(training_counter.calls[0].operation, "read");
}

TEST_F(host_uds_dispatcher, x22_read_of_two_dids_concatenates_records_in_request_order) {
    training_counter.record = {0xAA};
    vin.record = {0x57, 0x30};
    EXPECT_EQ(send({0x22, 0x2C, 0x55, 0x2C, 0x56}), (Bytes{0x62, 0x2C, 0x55, 0x57, 0x30, 0x2C, 0x56, 0xAA}));
}

TEST_F(host_uds_dispatcher, x22_read_with_empty_record_answers_did_alone) {
    EXPECT_EQ(send({0x22, 0x2C, 0x56}), (Bytes{0x62, 0x2C, 0x56}));
}

TEST_F(host_uds_dispatcher, x22_read_hands_each_job_an_empty_response_vector) {
    vin.record = {0x01, 0x02};
    training_counter.record = {0x03};
    send({0x22, 0x2C, 0x55, 0x2C, 0x56});
    EXPECT_EQ(vin.calls.at(0).response_size_on_entry, 0u);
    EXPECT_EQ(training_counter.calls.at(0).response_size_on_entry, 0u);
}

TEST_F(host_uds_dispatcher, x22_read_skips_unserved_dids_among_served_ones) {
    training_counter.record = {0x07};
    EXPECT_EQ(send({0x22, 0x2C, 0x58, 0x2C, 0x56, 0xF1, 0x90}), (Bytes{0x62, 0x2C, 0x56, 0x07}));
}

TEST_F(host_uds_dispatcher, x22_read_of_one_unserved_did_answers_0x31) {
    EXPECT_EQ(send({0x22, 0x2C, 0x58}), (Bytes{0x7F, 0x22, 0x31}));
}

TEST_F(host_uds_dispatcher, x22_read_of_only_unserved_dids_answers_0x31_and_calls_nothing) {
    EXPECT_EQ(send({0x22, 0x2C, 0x58, 0xF1, 0x90}), (Bytes{0x7F, 0x22, 0x31}));
    EXPECT_TRUE(training_counter.calls.empty());
    EXPECT_TRUE(vin.calls.empty());
}

TEST_F(host_uds_dispatcher, x22_a_routine_identifier_is_not_a_did) {
    EXPECT_EQ(send({0x22, 0xC0, 0x0F}), (Bytes{0x7F, 0x22, 0x31}));
}

TEST_F(host_uds_dispatcher, x22_without_did_answers_0x13) {
    EXPECT_EQ(send({0x22}), (Bytes{0x7F, 0x22, 0x13}));
}

TEST_F(host_uds_dispatcher, x22_with_one_did_byte_answers_0x13) {
    EXPECT_EQ(send({0x22, 0x2C}), (Bytes{0x7F, 0x22, 0x13}));
}

TEST_F(host_uds_dispatcher, x22_with_odd_did_list_answers_0x13_before_reading_anything) {
    EXPECT_EQ(send({0x22, 0x2C, 0x56, 0x2C}), (Bytes{0x7F, 0x22, 0x13}));
    EXPECT_TRUE(training_counter.calls.empty());
}

TEST_F(host_uds_dispatcher, x22_length_is_checked_before_the_did) {
    EXPECT_EQ(send({0x22, 0x2C, 0x58, 0x2C}), (Bytes{0x7F, 0x22, 0x13}));
}

TEST_F(host_uds_dispatcher, x22_read_result_becomes_7f_22_nrc) {
    training_counter.read_result = 0x10;
    EXPECT_EQ(send({0x22, 0x2C, 0x56}), (Bytes{0x7F, 0x22, 0x10}));
    training_counter.read_result = 0x22;
    EXPECT_EQ(send({0x22, 0x2C, 0x56}), (Bytes{0x7F, 0x22, 0x22}));
}

TEST_F(host_uds_dispatcher, x22_read_result_drops_what_the_failed_job_wrote) {
    training_counter.record = {0x01, 0x02};
    training_counter.read_result = 0x31;
    EXPECT_EQ(send({0x22, 0x2C, 0x56}), (Bytes{0x7F, 0x22, 0x31}));
}

TEST_F(host_uds_dispatcher, x22_read_of_two_dids_fails_whole_request_at_second_failure) {
    vin.record = {0x01};
    training_counter.read_result = 0x14;
    EXPECT_EQ(send({0x22, 0x2C, 0x55, 0x2C, 0x56}), (Bytes{0x7F, 0x22, 0x14}));
}

TEST_F(host_uds_dispatcher, x22_read_of_two_dids_stops_at_first_failure) {
    vin.read_result = 0x10;
    EXPECT_EQ(send({0x22, 0x2C, 0x55, 0x2C, 0x56}), (Bytes{0x7F, 0x22, 0x10}));
    EXPECT_TRUE(training_counter.calls.empty());
}

TEST_F(host_uds_dispatcher, x22_read_of_one_did_twice_reads_it_twice) {
    training_counter.record = {0x05};
    EXPECT_EQ(send({0x22, 0x2C, 0x56, 0x2C, 0x56}), (Bytes{0x62, 0x2C, 0x56, 0x05, 0x2C, 0x56, 0x05}));
    EXPECT_EQ(training_counter.calls.size(), 2u);
}

TEST_F(host_uds_dispatcher, x22_meta_info_names_service_did_and_tester) {
    send({0x22, 0x2C, 0x56});
    const Meta_info expected = {{"service_id", "0x22"}, {"identifier", "0x2C56"}, {"tester_address", "0x0E80"}};
    EXPECT_EQ(training_counter.calls.at(0).meta_info, expected);
}

TEST_F(host_uds_dispatcher, x22_read_of_two_dids_gives_each_job_its_own_identifier) {
    send({0x22, 0x2C, 0x55, 0x2C, 0x56});
    EXPECT_EQ(vin.calls.at(0).meta_info.at(meta_key::identifier), "0x2C55");
    EXPECT_EQ(training_counter.calls.at(0).meta_info.at(meta_key::identifier), "0x2C56");
}

TEST_F(host_uds_dispatcher, tester_address_given_at_construction_reaches_meta_info) {
    Uds_dispatcher other{0x0F01};
    other.add_data_identifier(0x2C56, training_counter);
    other.dispatch({0x22, 0x2C, 0x56});
    EXPECT_EQ(training_counter.calls.at(0).meta_info.at(meta_key::tester_address), "0x0F01");
}

// ---- 0x2E WriteDataByIdentifier

TEST_F(host_uds_dispatcher, x2e_write_hands_the_bytes_after_the_did_and_answers_6e_did) {
    EXPECT_EQ(send({0x2E, 0x2C, 0x56, 0x01, 0x02}), (Bytes{0x6E, 0x2C, 0x56}));
    ASSERT_EQ(training_counter.calls.size(), 1u);
    EXPECT_EQ(training_counter.calls[0].operation, "write");
    EXPECT_EQ(training_counter.calls[0].request, (Bytes{0x01, 0x02}));
}

TEST_F(host_uds_dispatcher, x2e_write_of_one_data_byte_is_long_enough) {
    EXPECT_EQ(send({0x2E, 0x2C, 0x56, 0x00}), (Bytes{0x6E, 0x2C, 0x56}));
}

TEST_F(host_uds_dispatcher, x2e_write_shorter_than_four_bytes_answers_0x13) {
    EXPECT_EQ(send({0x2E}), (Bytes{0x7F, 0x2E, 0x13}));
    EXPECT_EQ(send({0x2E, 0x2C}), (Bytes{0x7F, 0x2E, 0x13}));
    EXPECT_EQ(send({0x2E, 0x2C, 0x56}), (Bytes{0x7F, 0x2E, 0x13}));
    EXPECT_TRUE(training_counter.calls.empty());
}

TEST_F(host_uds_dispatcher, x2e_write_of_unserved_did_answers_0x31) {
    EXPECT_EQ(send({0x2E, 0x2C, 0x58, 0x01}), (Bytes{0x7F, 0x2E, 0x31}));
}

TEST_F(host_uds_dispatcher, x2e_write_result_becomes_7f_2e_nrc) {
    training_counter.write_result = 0x72;
    EXPECT_EQ(send({0x2E, 0x2C, 0x56, 0x01}), (Bytes{0x7F, 0x2E, 0x72}));
}

TEST_F(host_uds_dispatcher, x2e_meta_info_names_service_did_and_tester) {
    send({0x2E, 0x2C, 0x55, 0x01});
    const Meta_info expected = {{"service_id", "0x2E"}, {"identifier", "0x2C55"}, {"tester_address", "0x0E80"}};
    EXPECT_EQ(vin.calls.at(0).meta_info, expected);
}

// ---- 0x31 RoutineControl

TEST_F(host_uds_dispatcher, x31_01_start_hands_option_bytes_and_answers_71_01_rid_and_status) {
    get_state.start_status = {0x00, 0x01};
    EXPECT_EQ(send({0x31, 0x01, 0xC0, 0x0F, 0x05, 0x06}), (Bytes{0x71, 0x01, 0xC0, 0x0F, 0x00, 0x01}));
    ASSERT_EQ(get_state.calls.size(), 1u);
    EXPECT_EQ(get_state.calls[0].operation, "start");
    EXPECT_EQ(get_state.calls[0].request, (Bytes{0x05, 0x06}));
    EXPECT_EQ(get_state.calls[0].response_size_on_entry, 0u);
}

TEST_F(host_uds_dispatcher, x31_01_start_without_options_hands_an_empty_request) {
    EXPECT_EQ(send({0x31, 0x01, 0x06, 0x48}), (Bytes{0x71, 0x01, 0x06, 0x48}));
    EXPECT_TRUE(debug.calls.at(0).request.empty());
}

TEST_F(host_uds_dispatcher, x31_02_stop_answers_71_02_rid) {
    EXPECT_EQ(send({0x31, 0x02, 0xC0, 0x0F, 0x09}), (Bytes{0x71, 0x02, 0xC0, 0x0F}));
    EXPECT_EQ(get_state.calls.at(0).operation, "stop");
    EXPECT_EQ(get_state.calls.at(0).request, (Bytes{0x09}));
}

TEST_F(host_uds_dispatcher, x31_02_stop_keeps_a_status_record_the_extension_appended) {
    get_state.stop_status = {0x42};
    EXPECT_EQ(send({0x31, 0x02, 0xC0, 0x0F}), (Bytes{0x71, 0x02, 0xC0, 0x0F, 0x42}));
}

TEST_F(host_uds_dispatcher, x31_03_request_results_answers_71_03_rid_and_results) {
    debug.results = {0x01, 0x02, 0x03};
    EXPECT_EQ(send({0x31, 0x03, 0x06, 0x48}), (Bytes{0x71, 0x03, 0x06, 0x48, 0x01, 0x02, 0x03}));
    EXPECT_EQ(debug.calls.at(0).operation, "request_results");
}

TEST_F(host_uds_dispatcher, x31_03_request_results_hands_option_bytes_too) {
    send({0x31, 0x03, 0x06, 0x48, 0xAB});
    EXPECT_EQ(debug.calls.at(0).request, (Bytes{0xAB}));
}

TEST_F(host_uds_dispatcher, x31_routine_result_becomes_7f_31_nrc) {
    get_state.start_result = 0x22;
    get_state.stop_result = 0x24;
    get_state.results_result = 0x10;
    get_state.start_status = {0x01};
    EXPECT_EQ(send({0x31, 0x01, 0xC0, 0x0F, 0x00}), (Bytes{0x7F, 0x31, 0x22}));
    EXPECT_EQ(send({0x31, 0x02, 0xC0, 0x0F}), (Bytes{0x7F, 0x31, 0x24}));
    EXPECT_EQ(send({0x31, 0x03, 0xC0, 0x0F}), (Bytes{0x7F, 0x31, 0x10}));
}

TEST_F(host_uds_dispatcher, x31_with_sid_only_answers_0x13) {
    EXPECT_EQ(send({0x31}), (Bytes{0x7F, 0x31, 0x13}));
}

TEST_F(host_uds_dispatcher, x31_unknown_sub_function_answers_0x12) {
    for (const std::uint8_t type : Bytes{0x00, 0x04, 0x7F, 0x84, 0xFF}) {
        EXPECT_EQ(send({0x31, type, 0xC0, 0x0F}), (Bytes{0x7F, 0x31, 0x12})) << int{type};
    }
    EXPECT_TRUE(get_state.calls.empty());
}

TEST_F(host_uds_dispatcher, x31_sub_function_is_checked_before_the_full_length) {
    EXPECT_EQ(send({0x31, 0x04}), (Bytes{0x7F, 0x31, 0x12}));
    EXPECT_EQ(send({0x31, 0x05, 0xC0}), (Bytes{0x7F, 0x31, 0x12}));
}

TEST_F(host_uds_dispatcher, x31_sub_function_is_checked_before_the_rid) {
    EXPECT_EQ(send({0x31, 0x04, 0x12, 0x34}), (Bytes{0x7F, 0x31, 0x12}));
}

TEST_F(host_uds_dispatcher, x31_shorter_than_four_bytes_answers_0x13) {
    EXPECT_EQ(send({0x31, 0x01}), (Bytes{0x7F, 0x31, 0x13}));
    EXPECT_EQ(send({0x31, 0x03, 0xC0}), (Bytes{0x7F, 0x31, 0x13}));
    EXPECT_TRUE(get_state.calls.empty());
}

TEST_F(host_uds_dispatcher, x31_unserved_rid_answers_0x31) {
    EXPECT_EQ(send({0x31, 0x01, 0xC0, 0x0E, 0x00}), (Bytes{0x7F, 0x31, 0x31}));
}

TEST_F(host_uds_dispatcher, x31_a_did_is_not_a_rid) {
    EXPECT_EQ(send({0x31, 0x01, 0x2C, 0x56}), (Bytes{0x7F, 0x31, 0x31}));
}

TEST_F(host_uds_dispatcher, x31_meta_info_names_service_sub_function_rid_and_tester) {
    send({0x31, 0x01, 0xC0, 0x0F, 0x00});
    const Meta_info expected = {{"service_id", "0x31"},
                                {"sub_function", "0x01"},
                                {"identifier", "0xC00F"},
                                {"tester_address", "0x0E80"}};
    EXPECT_EQ(get_state.calls.at(0).meta_info, expected);
}

TEST_F(host_uds_dispatcher, x31_meta_info_keeps_the_sub_function_as_received) {
    sut.dispatch({0x31, 0x83, 0x06, 0x48});
    EXPECT_EQ(debug.calls.at(0).meta_info.at(meta_key::sub_function), "0x83");
}

TEST_F(host_uds_dispatcher, x31_suppress_bit_runs_the_job_and_sends_no_positive_response) {
    get_state.start_status = {0x01};
    const Uds_response response = sut.dispatch({0x31, 0x81, 0xC0, 0x0F, 0x00});
    EXPECT_TRUE(response.suppressed);
    EXPECT_TRUE(response.bytes.empty());
    ASSERT_EQ(get_state.calls.size(), 1u);
    EXPECT_EQ(get_state.calls[0].operation, "start");
    EXPECT_EQ(get_state.calls[0].request, (Bytes{0x00}));
}

TEST_F(host_uds_dispatcher, x31_suppress_bit_selects_the_job_by_the_low_seven_bits) {
    EXPECT_TRUE(sut.dispatch({0x31, 0x82, 0xC0, 0x0F}).suppressed);
    EXPECT_TRUE(sut.dispatch({0x31, 0x83, 0xC0, 0x0F}).suppressed);
    ASSERT_EQ(get_state.calls.size(), 2u);
    EXPECT_EQ(get_state.calls[0].operation, "stop");
    EXPECT_EQ(get_state.calls[1].operation, "request_results");
}

TEST_F(host_uds_dispatcher, x31_suppress_bit_keeps_negative_responses) {
    get_state.start_result = 0x22;
    EXPECT_EQ(send({0x31, 0x81, 0xC0, 0x0F, 0x00}), (Bytes{0x7F, 0x31, 0x22}));
    EXPECT_EQ(send({0x31, 0x81, 0xC0, 0x0E}), (Bytes{0x7F, 0x31, 0x31}));
    EXPECT_EQ(send({0x31, 0x81, 0xC0}), (Bytes{0x7F, 0x31, 0x13}));
}

// ---- other services and the job itself

TEST_F(host_uds_dispatcher, unknown_service_answers_7f_sid_0x11) {
    EXPECT_EQ(send({0x10, 0x03}), (Bytes{0x7F, 0x10, 0x11}));
    EXPECT_EQ(send({0x3E}), (Bytes{0x7F, 0x3E, 0x11}));
    EXPECT_EQ(send({0x62, 0x2C, 0x56}), (Bytes{0x7F, 0x62, 0x11}));
}

TEST_F(host_uds_dispatcher, empty_request_answers_7f_00_13) {
    EXPECT_EQ(send({}), (Bytes{0x7F, 0x00, 0x13}));
}

TEST_F(host_uds_dispatcher, jobs_run_on_a_worker_thread) {
    send({0x22, 0x2C, 0x56});
    send({0x31, 0x01, 0xC0, 0x0F});
    EXPECT_NE(training_counter.calls.at(0).thread, std::this_thread::get_id());
    EXPECT_NE(get_state.calls.at(0).thread, std::this_thread::get_id());
}

TEST_F(host_uds_dispatcher, job_that_throws_answers_0x10_and_keeps_what_it_said) {
    training_counter.throw_in_job = true;
    const Uds_response read = sut.dispatch({0x22, 0x2C, 0x56});
    EXPECT_EQ(read.bytes, (Bytes{0x7F, 0x22, 0x10}));
    EXPECT_EQ(read.job_error, "read broke");

    get_state.throw_in_job = true;
    const Uds_response start = sut.dispatch({0x31, 0x81, 0xC0, 0x0F});
    EXPECT_EQ(start.bytes, (Bytes{0x7F, 0x31, 0x10}));
    EXPECT_FALSE(start.suppressed);
    EXPECT_EQ(start.job_error, "start broke");
}

TEST_F(host_uds_dispatcher, successful_job_leaves_no_job_error) {
    EXPECT_TRUE(sut.dispatch({0x22, 0x2C, 0x56}).job_error.empty());
}

TEST_F(host_uds_dispatcher, serving_an_identifier_twice_is_refused) {
    Fake_data_identifier other_did;
    Fake_routine other_routine;
    EXPECT_THROW(sut.add_data_identifier(0x2C56, other_did), std::invalid_argument);
    EXPECT_THROW(sut.add_routine(0xC00F, other_routine), std::invalid_argument);
}

TEST_F(host_uds_dispatcher, one_number_may_be_a_did_and_a_rid) {
    Fake_routine same_number;
    same_number.results = {0x99};
    sut.add_routine(0x2C56, same_number);
    EXPECT_EQ(send({0x31, 0x03, 0x2C, 0x56}), (Bytes{0x71, 0x03, 0x2C, 0x56, 0x99}));
    EXPECT_TRUE(training_counter.calls.empty());
}

}  // namespace
}  // namespace zevo::host
