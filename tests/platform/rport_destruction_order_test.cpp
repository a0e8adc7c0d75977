// Deleting a port releases the service record first and then the two texts of its Service_info,
// the instance before the service: its own member goes before those of Port_link, and those in
// reverse order of declaration. Seen through the order of the releases.
#include "ruv/com/cpp_binding/proxy/rport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "allocation_log.h"
#include "kel/com/runtime/service_handle.h"
#include "ruv/com/runtime/service_entry.h"
#include "ruv/com/runtime/service_record.h"

namespace {

using ruv::com::cpp_binding::proxy::Rport;

// A binding that is never called; what matters is where its record is released.
class Idle_binding : public ruv::com::runtime::Service_binding {
public:
    std::shared_ptr<kel::com::runtime::Method_call> call(std::uint16_t, kel::com::runtime::Serialized_payload,
                                                          Response_handler) override {
        return nullptr;
    }
};

std::ptrdiff_t position_of(const zevo::test::Allocation_log& log, const void* address) {
    const auto last = log.released.begin() + static_cast<std::ptrdiff_t>(
                                                 std::min(log.deallocations, log.released.size()));
    const auto found = std::find(log.released.begin(), last, address);
    return found == last ? -1 : found - log.released.begin();
}

TEST(Rport_destruction, releases_service_then_instance_text_then_service_text) {
    // Texts longer than the in-place buffer of std::string, so that each owns a heap block.
    const std::string service_name(64, 's');
    const std::string instance_name(64, 'i');
    ruv::com::runtime::Service_record* record = nullptr;
    Rport* sut = nullptr;
    {
        record = new ruv::com::runtime::Service_record(std::make_shared<Idle_binding>());
        const std::shared_ptr<ruv::com::runtime::Service_record> service{record};
        const kel::com::runtime::Service_handle handle{
            std::make_shared<ruv::com::runtime::Service_entry>(service_name, instance_name, service)};
        sut = new Rport(handle, ruv::com::connector::Service_interface_description{0, 0, 3, 0});
    }  // the handle and its entry are gone: the port holds the only reference to the record
    const void* const service_text = sut->info.service.data();
    const void* const instance_text = sut->info.instance.data();

    zevo::test::Allocation_log log;
    {
        zevo::test::Allocation_scope scope;
        delete sut;
        log = scope.log();
    }
    const std::ptrdiff_t record_at = position_of(log, record);
    const std::ptrdiff_t instance_at = position_of(log, instance_text);
    const std::ptrdiff_t service_at = position_of(log, service_text);
    ASSERT_GE(record_at, 0) << "the record was not released with the port";
    ASSERT_GE(instance_at, 0);
    ASSERT_GE(service_at, 0);
    EXPECT_LT(record_at, instance_at);
    EXPECT_LT(instance_at, service_at);
}

}  // namespace
