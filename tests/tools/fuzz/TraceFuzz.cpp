// Any octets, read as a trace and written in every way. Ends the process where something does not
// hold; driven by libFuzzer, or by PlainDriver.cpp.

#include "tests/tools/AllOutputs.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(Zel::U8 const* octets, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(Zel::U8 const* octets, std::size_t size) {
    const auto outcome = TraceTool::Test::allOutputs(std::as_bytes(std::span(octets, size)));
    if (!outcome.contradiction.empty()) {
        std::fprintf(stderr, "TraceFuzz: %s\n", outcome.contradiction.c_str());
        std::abort();
    }
    return 0;
}
