#pragma once
// Marks what the diagnostic manager may bind to: the six C entry points and the extension
// classes. Everything else in the plug-in is built with hidden visibility, and the linker's
// version script keeps template instantiations of the standard library out of the dynamic table.

#define ZEVO_EXPORT __attribute__((visibility("default")))
