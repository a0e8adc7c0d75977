#pragma once
// The seam of the request path test program: counted_payload.cpp defines, for that program only,
// the platform's get_shared_payload, which then takes precedence over the one in libara_com. It
// hands out buffers as the platform does and counts the calls made on each thread, so that a test
// sees whether a call got as far as serialising its arguments. Per thread; no locking needed.

#include <cstddef>

namespace zevo::test::calls {

/// How many payload buffers the calling thread has asked for so far.
std::size_t payload_buffers_taken();

}  // namespace zevo::test::calls
