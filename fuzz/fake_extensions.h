#pragma once
// Extensions that stand behind the host's dispatcher in uds_request_fuzz: stateless, they answer
// from the bytes they are given alone, so that the fuzz target can tell the dispatcher's answer
// in advance. Called on the dispatcher's job threads; no state, no locks.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "extension/extension_data_identifier.h"
#include "extension/extension_routine_control.h"

namespace zevo::fuzz {

using ruv::dm::foundation::extension::Meta_info;
using ruv::dm::types::UDSResponseCodeType;

/// read: 0 and a two-byte record; write: the first data byte as its result.
class Echoing_data_identifier final : public ruv::dm::foundation::extension::Extension_data_identifier {
public:
    static constexpr std::array<std::uint8_t, 2> record{0xD0, 0xD1};
    static UDSResponseCodeType write_code(const std::vector<std::uint8_t>& data) {
        return data.empty() ? 0 : data.front();
    }

    void attach(const std::string& /*instance*/) override {}
    void detach() override {}
    UDSResponseCodeType read(const Meta_info& /*meta_info*/, std::vector<std::uint8_t>& response) override {
        response.insert(response.end(), record.begin(), record.end());
        return 0;
    }
    UDSResponseCodeType write(const Meta_info& /*meta_info*/, std::vector<std::uint8_t>& data) override {
        return write_code(data);
    }
};

/// start, stop, request_results: a one-byte status and the first option byte as the result.
class Echoing_routine final : public ruv::dm::foundation::extension::Extension_routine_control {
public:
    static constexpr std::array<std::uint8_t, 1> status{0x5A};
    static UDSResponseCodeType code(const std::vector<std::uint8_t>& options) {
        return options.empty() ? 0 : options.front();
    }

    void attach(const std::string& /*instance*/) override {}
    void detach() override {}
    UDSResponseCodeType start(std::vector<std::uint8_t>& request, const Meta_info& /*meta_info*/,
                              std::vector<std::uint8_t>& response) override {
        return answer(request, response);
    }
    UDSResponseCodeType stop(std::vector<std::uint8_t>& request, const Meta_info& /*meta_info*/,
                             std::vector<std::uint8_t>& response) override {
        return answer(request, response);
    }
    UDSResponseCodeType request_results(std::vector<std::uint8_t>& request, const Meta_info& /*meta_info*/,
                                        std::vector<std::uint8_t>& response) override {
        return answer(request, response);
    }

private:
    static UDSResponseCodeType answer(const std::vector<std::uint8_t>& request, std::vector<std::uint8_t>& response) {
        response.insert(response.end(), status.begin(), status.end());
        return code(request);
    }
};

}  // namespace zevo::fuzz
