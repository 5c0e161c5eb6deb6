/// parse_edges FILE...
///
/// Gives the parser these frames, and tells how many of the edges between the blocks of its code
/// they took it along. Only Parse.cpp is compiled so that its edges are counted: not optimised, so
/// that each condition of the source has two edges, whichever way it is written.
///
/// Prints "edges: TAKEN of ALL", and "not taken: ADDRESS" for each other edge, as addr2line takes
/// it. Exit status: 0; 1 when an edge was not taken; 2 when a file cannot be read or nothing is
/// counted.

#include "agent/bpdu/Parse.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

extern "C" const char __executable_start;

namespace {

/// As the compiler lays it out: an edge's place in the code, and whether it enters a function.
struct Edge {
    std::uintptr_t address;
    std::uintptr_t entersFunction;
};

std::span<bool> taken;
std::span<Edge const> edges;

} // namespace

// What the compiler calls before main() with what it made for Parse.cpp.
extern "C" void __sanitizer_cov_bool_flag_init(bool* begin, bool* end);
extern "C" void __sanitizer_cov_bool_flag_init(bool* begin, bool* end) { taken = {begin, end}; }
extern "C" void __sanitizer_cov_pcs_init(Edge const* begin, Edge const* end);
extern "C" void __sanitizer_cov_pcs_init(Edge const* begin, Edge const* end) {
    edges = {begin, end};
}

int main(int count, char** arguments) {
    if (taken.empty() || taken.size() != edges.size()) {
        std::fprintf(stderr, "parse_edges: the compiler counts no edges\n");
        return 2;
    }
    std::size_t accepted = 0;
    for (const char* const name :
         std::span(arguments, static_cast<std::size_t>(count)).subspan(1)) {
        std::ifstream file(name, std::ios::binary);
        const std::vector<char> octets{std::istreambuf_iterator<char>(file), {}};
        if (!file.is_open() || file.bad()) {
            std::fprintf(stderr, "parse_edges: cannot read %s\n", name);
            return 2;
        }
        const auto parsed =
            Agent::parseFrame({reinterpret_cast<Zel::U8 const*>(octets.data()), octets.size()});
        accepted += std::holds_alternative<Agent::ReceivedBpdu>(parsed);
    }
    const auto took = static_cast<std::size_t>(std::ranges::count(taken, true));
    std::printf("edges: %zu of %zu\n", took, edges.size());
    std::printf("frames: %zu of %d taken\n", accepted, count - 1);
    const auto base = reinterpret_cast<std::uintptr_t>(&__executable_start);
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (!taken[i])
            std::printf("not taken: %#zx\n", static_cast<std::size_t>(edges[i].address - base));
    }
    return took == edges.size() ? 0 : 1;
}
