#include "ruv/com/runtime/service_entry.h"

#include <utility>

namespace ruv::com::runtime {

Service_entry::Service_entry(std::string service_id, std::string instance_id,
                             std::shared_ptr<Service_record> record)
    : service_id_(std::move(service_id)),
      instance_id_(std::move(instance_id)),
      service_(std::move(record)) {}

Service_entry::~Service_entry() = default;

const Service_entry* Service_entry::of(const kel::com::runtime::Service_handle& handle) noexcept {
    return dynamic_cast<const Service_entry*>(handle.record().get());
}

}  // namespace ruv::com::runtime
