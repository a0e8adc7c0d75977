// ThreadSanitizer's built-in suppressions for every test program of a thread-sanitized build.
// A call's failure travels as a std::exception_ptr in its promise: the job reads the exception,
// and a runtime thread later drops the last reference and frees it. The reference count lives in
// the uninstrumented libstdc++, so the ordering is invisible to the sanitizer and the free is
// reported as a race with the job's read. Nothing else is suppressed.

extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:std::__exception_ptr::exception_ptr::_M_release\n";
}
