#pragma once
// Test-local extensions that stand in for the plug-in's: they record every call (operation,
// meta_info, bytes, thread) and answer what the test configures. Configured before a dispatch,
// written on the job's worker thread, read by the test after the dispatch has joined that thread.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"

namespace zevo::host::testing {

using ruv::dm::foundation::extension::Meta_info;
using ruv::dm::types::UDSResponseCodeType;

struct Recorded_call {
    std::string operation;              // "read", "write", "start", "stop", "request_results"
    Meta_info meta_info;
    std::vector<std::uint8_t> request;  // write: the data; routines: the option bytes
    std::size_t response_size_on_entry; // what the job found in its response vector
    std::thread::id thread;
};

class Fake_data_identifier : public ruv::dm::foundation::extension::Extension_data_identifier {
public:
    UDSResponseCodeType read_result = 0;
    std::vector<std::uint8_t> record;  // appended by read
    UDSResponseCodeType write_result = 0;
    bool throw_in_job = false;

    std::vector<Recorded_call> calls;
    std::vector<std::string> attached_with;
    int detach_count = 0;

    void attach(const std::string& instance) override { attached_with.push_back(instance); }
    void detach() override { ++detach_count; }

    UDSResponseCodeType read(const Meta_info& meta_info, std::vector<std::uint8_t>& response) override {
        calls.push_back({"read", meta_info, {}, response.size(), std::this_thread::get_id()});
        if (throw_in_job) throw std::runtime_error("read broke");
        response.insert(response.end(), record.begin(), record.end());
        return read_result;
    }

    UDSResponseCodeType write(const Meta_info& meta_info, std::vector<std::uint8_t>& data) override {
        calls.push_back({"write", meta_info, data, 0, std::this_thread::get_id()});
        if (throw_in_job) throw std::runtime_error("write broke");
        return write_result;
    }
};

class Fake_routine : public ruv::dm::foundation::extension::Extension_routine_control {
public:
    UDSResponseCodeType start_result = 0;
    std::vector<std::uint8_t> start_status;  // appended by start
    UDSResponseCodeType stop_result = 0;
    std::vector<std::uint8_t> stop_status;   // appended by stop
    UDSResponseCodeType results_result = 0;
    std::vector<std::uint8_t> results;       // appended by request_results
    bool throw_in_job = false;

    std::vector<Recorded_call> calls;
    std::vector<std::string> attached_with;
    int detach_count = 0;

    void attach(const std::string& instance) override { attached_with.push_back(instance); }
    void detach() override { ++detach_count; }

    UDSResponseCodeType start(std::vector<std::uint8_t>& request, const Meta_info& meta_info,
                              std::vector<std::uint8_t>& response) override {
        return job("start", request, meta_info, response, start_status, start_result);
    }
    UDSResponseCodeType stop(std::vector<std::uint8_t>& request, const Meta_info& meta_info,
                             std::vector<std::uint8_t>& response) override {
        return job("stop", request, meta_info, response, stop_status, stop_result);
    }
    UDSResponseCodeType request_results(std::vector<std::uint8_t>& request, const Meta_info& meta_info,
                                        std::vector<std::uint8_t>& response) override {
        return job("request_results", request, meta_info, response, results, results_result);
    }

private:
    UDSResponseCodeType job(const char* operation, const std::vector<std::uint8_t>& request, const Meta_info& meta_info,
                            std::vector<std::uint8_t>& response, const std::vector<std::uint8_t>& answer,
                            UDSResponseCodeType result) {
        calls.push_back({operation, meta_info, request, response.size(), std::this_thread::get_id()});
        if (throw_in_job) throw std::runtime_error(std::string(operation) + " broke");
        response.insert(response.end(), answer.begin(), answer.end());
        return result;
    }
};

}  // namespace zevo::host::testing
