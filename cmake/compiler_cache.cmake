# Compiles through ccache when it is installed (scripts/install-deps.sh installs it), so that the
# three test builds and CI's clean clone reuse what an earlier build of the same sources produced.
# ZEVO_CCACHE=OFF turns it off; a launcher given on the command line wins.
option(ZEVO_CCACHE "Compile through ccache when it is installed" ON)
if(ZEVO_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(ZEVO_CCACHE_PROGRAM ccache)
  if(ZEVO_CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${ZEVO_CCACHE_PROGRAM}")
  endif()
endif()
