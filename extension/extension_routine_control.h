#pragma once
// Face of one UDS routine. Slots behind Extension's: start, stop, request_results, cancel.
// The defaults answer positively and do nothing; served routines override start,
// request_results and cancel. Jobs block their host thread; cancel comes from another one.

#include <cstdint>
#include <vector>

#include "extension/extension.h"
#include "extension/meta_info.h"
#include "extension/uds_response_code.h"

namespace ruv::dm::foundation::extension {

class ZEVO_EXPORT Extension_routine_control : public Extension {
public:
    ~Extension_routine_control() override;

    /// `request` holds the routine's option bytes; `response` gets the status record.
    virtual types::UDSResponseCodeType start(std::vector<std::uint8_t>& request,
                                             const Meta_info& meta_info,
                                             std::vector<std::uint8_t>& response);  // slot 4
    virtual types::UDSResponseCodeType stop(std::vector<std::uint8_t>& request,
                                            const Meta_info& meta_info,
                                            std::vector<std::uint8_t>& response);   // slot 5
    virtual types::UDSResponseCodeType request_results(std::vector<std::uint8_t>& request,
                                                       const Meta_info& meta_info,
                                                       std::vector<std::uint8_t>& response);  // slot 6
    /// 1 when a cancellation was issued, 0 when there was nothing to cancel on.
    virtual types::UDSResponseCodeType cancel(const Meta_info& meta_info);          // slot 7
};

}  // namespace ruv::dm::foundation::extension
