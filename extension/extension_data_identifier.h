#pragma once
// Face of one UDS data identifier. Slots behind Extension's: read, write, cancel.
// The defaults answer positively and do nothing; served identifiers override read and cancel.
// Jobs run on a host thread and block it; cancel comes from another host thread.

#include <cstdint>
#include <vector>

#include "extension/extension.h"
#include "extension/meta_info.h"
#include "extension/uds_response_code.h"

namespace ruv::dm::foundation::extension {

class ZEVO_EXPORT Extension_data_identifier : public Extension {
public:
    ~Extension_data_identifier() override;

    /// Appends the data record to `response`; 0 or a negative response code.
    virtual types::UDSResponseCodeType read(const Meta_info& meta_info,
                                            std::vector<std::uint8_t>& response);  // slot 4
    /// Writes `data`; 0 or a negative response code.
    virtual types::UDSResponseCodeType write(const Meta_info& meta_info,
                                             std::vector<std::uint8_t>& data);     // slot 5
    /// 1 when a cancellation was issued, 0 when there was nothing to cancel on.
    virtual types::UDSResponseCodeType cancel(const Meta_info& meta_info);          // slot 6
};

}  // namespace ruv::dm::foundation::extension
