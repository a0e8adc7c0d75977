#pragma once
// The seam of the proxy construction test program: recording_rport.cpp defines, for that program
// only, the platform's Rport constructor from a Service_handle, which then takes precedence over
// the one in libara_com. It attaches the port exactly as the platform does, and in addition
// records the interface description that each proxy hands over and lets the test choose the
// port's logger. Read and written on the test's thread only.

#include <vector>

#include "ruv/com/connector/service_interface_description.h"
#include "ruv/com/log/generic_logger.h"

namespace zevo::test::calls {

/// The descriptions handed to every port attached from a handle, in order.
std::vector<ruv::com::connector::Service_interface_description>& recorded_descriptions();

/// The logger that ports attached from a handle get; null leaves the platform's.
ruv::com::log::Generic_logger*& port_logger();

}  // namespace zevo::test::calls
