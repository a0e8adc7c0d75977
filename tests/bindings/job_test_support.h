#pragma once
// What the job tests share: the fake proxies, the record samples and the names of the flows and
// of the runtime's failures. Included by test sources only.

#include "extension/uds_response_code.h"
#include "fake_proxy.h"
#include "record_samples.h"
#include "ruv/com/infrastructure_exception.h"

namespace zevo::test {

namespace job_flow = ruv::dm::foundation::extension::job_flow;
using ruv::dm::types::UDSResponseCodeType;

}  // namespace zevo::test
