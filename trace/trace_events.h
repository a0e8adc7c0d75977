#pragma once
// All trace emitters of the plug-in in one include, for the proxy runtime: discovery, proxy
// construction and method calls, plus the exception text of a failed call. Each emitter runs on
// the thread of its event and throws nothing.

#include "trace/exception_text.h"
#include "trace/find_service_events.h"
#include "trace/method_events.h"
#include "trace/proxy_events.h"
