# Standalone Asio (Debian libasio-dev), without Boost, as the SOME/IP binding and the DoIP entity
# use it. Link `zevo_asio` for its definitions (PUBLIC where a header of the target includes Asio),
# and name every source that includes Asio in `zevo_quiet_asio(...)`.
add_library(zevo_asio INTERFACE)
target_compile_definitions(zevo_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)

# g++ 12 sees a "potential null pointer dereference" inside Asio's scheduler (scheduler.ipp) once
# its inline code lands in ours (a thread-info pointer that Asio checks elsewhere): a warning about
# Asio, not this code. Under ThreadSanitizer g++ also warns that Asio's std::atomic_thread_fence is
# not supported (-Wtsan); TSan still sees Asio's mutexes, which order its handlers. Source options
# come after every option of the target, so these win over zevo_warnings whatever the link order.
# Source properties belong to the directory: call it where the sources' target is made.
function(zevo_quiet_asio)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(quiet -Wno-null-dereference)
    if(ZEVO_SANITIZE MATCHES "thread")
      list(APPEND quiet -Wno-tsan)
    endif()
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${quiet}")
  endif()
endfunction()
