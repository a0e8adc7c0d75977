#pragma once
// Values the trace tests trace: the service names of the two services whose lines are spelled
// out in full, a method's trace info, and found services whose handle records answer with fixed
// texts. Test data only.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "kel/com/runtime/service_handle.h"
#include "trace/method_trace_info.h"

namespace zevo::test {

inline constexpr char const routine_0648[] = "talm::services::diag::r_0648::RoutineService_ZevoDebug";
inline constexpr char const data_identifier_2c56[] =
    "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter";

/// Names a typed test after the interface's namespace ("r_0648"), taken from its full name.
struct Interface_label {
    template <class Interface>
    static std::string GetName(int) {
        std::string const name{Interface::name};
        std::string const prefix{"talm::services::diag::"};
        return name.substr(prefix.size(), name.find("::", prefix.size()) - prefix.size());
    }
};

inline ruv::com::cpp_binding::Method_trace_info method_trace_info(std::string service, std::uint16_t method_id,
                                                                  std::uint8_t error_code = 0,
                                                                  std::string instance = "1") {
    return {{std::move(service), std::move(instance)}, method_id, error_code};
}

/// A runtime's record of a found service, with fixed ids.
class Fixed_handle_record : public kel::com::runtime::Service_handle_record {
public:
    Fixed_handle_record(std::string service, std::string instance)
        : service_(std::move(service)), instance_(std::move(instance)) {}
    std::string const& instance_id() const override { return instance_; }
    std::string const& service_id() const override { return service_; }

private:
    std::string service_;
    std::string instance_;
};

inline kel::com::runtime::Service_handle found_service(std::string service, std::string instance) {
    return kel::com::runtime::Service_handle{
        std::make_shared<Fixed_handle_record const>(std::move(service), std::move(instance))};
}

/// The keys of a JSON object in the order it renders them.
inline std::vector<std::string> keys_of(nlohmann::json const& object) {
    std::vector<std::string> keys;
    for (auto const& item : object.items()) keys.push_back(item.key());
    return keys;
}

}  // namespace zevo::test
