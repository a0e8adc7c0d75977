// ThreadSanitizer suppression built into the end-to-end test program. A service's application
// error travels as a std::exception_ptr in the call's promise: the job reads the rethrown
// exception, and a runtime thread later drops the last reference and frees it. The reference
// count lives in the uninstrumented libstdc++, so the ordering is invisible to the sanitizer and
// the free is reported as a race with the job's read.

#if defined(__SANITIZE_THREAD__)
#define ZEVO_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZEVO_THREAD_SANITIZER 1
#endif
#endif

#if defined(ZEVO_THREAD_SANITIZER)
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() { return "race:std::__exception_ptr::exception_ptr::_M_release\n"; }
#endif
