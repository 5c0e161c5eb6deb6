#pragma once

/// Marks what libVarnol.so shows to the service; everything else stays inside the library.
#define VARNOL_API __attribute__((visibility("default")))
