#pragma once
// One found service, as discovery hands it out: a shared reference of two words (object and
// control block) to a polymorphic record of the runtime. Copies share the record; the record
// never changes after it is made, so any thread may read it. Its slot order is a binary
// contract: the destructor pair, then instance_id, then service_id.

#include <memory>
#include <string>
#include <utility>

namespace kel::com::runtime {

/// The record behind a Service_handle; the runtime derives its own (a binding's service entry).
class Service_handle_record {
public:
    virtual ~Service_handle_record() = default;
    virtual const std::string& instance_id() const = 0;
    virtual const std::string& service_id() const = 0;

protected:
    Service_handle_record() = default;
    Service_handle_record(const Service_handle_record&) = default;
    Service_handle_record& operator=(const Service_handle_record&) = default;
};

class Service_handle {
public:
    /// `record` must not be null.
    explicit Service_handle(std::shared_ptr<const Service_handle_record> record) : record_(std::move(record)) {}

    const std::string& instance_id() const { return record_->instance_id(); }
    const std::string& service_id() const { return record_->service_id(); }

    /// The runtime's record, for the runtime to reach its own data through a downcast.
    const std::shared_ptr<const Service_handle_record>& record() const noexcept { return record_; }

private:
    std::shared_ptr<const Service_handle_record> record_;
};

}  // namespace kel::com::runtime
