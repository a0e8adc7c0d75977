# Warnings are defects: every target of the project compiles with these and -Werror.
add_library(zevo_warnings INTERFACE)
target_compile_options(zevo_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Wcast-align -Wnull-dereference -Wdouble-promotion
  -Wformat=2 -Wimplicit-fallthrough -Werror)
