#pragma once
// The record behind the Service_handle of one offered or discovered service: its two texts and
// the runtime's service record. Bindings make it; discovery hands it out; Rport reaches the
// service record through it. Immutable after construction, so any thread may read it.

#include <memory>
#include <string>

#include "kel/com/runtime/service_handle.h"
#include "ruv/com/runtime/service_record.h"

namespace ruv::com::runtime {

class Service_entry final : public kel::com::runtime::Service_handle_record {
public:
    /// `service_id` is the interface's full name, `instance_id` the instance text; `record` must
    /// not be null. Throws std::bad_alloc only.
    Service_entry(std::string service_id, std::string instance_id,
                  std::shared_ptr<Service_record> record);
    ~Service_entry() override;

    const std::string& instance_id() const override { return instance_id_; }
    const std::string& service_id() const override { return service_id_; }
    const std::shared_ptr<Service_record>& service() const noexcept { return service_; }

    /// The entry behind `handle`, or null when the handle comes from something else.
    static const Service_entry* of(const kel::com::runtime::Service_handle& handle) noexcept;

private:
    std::string service_id_;
    std::string instance_id_;
    std::shared_ptr<Service_record> service_;
};

}  // namespace ruv::com::runtime
