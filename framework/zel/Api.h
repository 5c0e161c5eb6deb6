#pragma once

/// Marks what libVarnol.so shows to the service; everything else stays inside the library.
#define VARNOL_API __attribute__((visibility("default")))

/// Before a function that is called all the time: called through the import table at once, without
/// the detour of the procedure linkage table. Nothing where the compiler has no such attribute.
#if __has_cpp_attribute(gnu::noplt)
#define VARNOL_NO_PLT [[gnu::noplt]]
#else
#define VARNOL_NO_PLT
#endif
