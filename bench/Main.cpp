/// varnol-bench [--benchmark_...]      times every row; see report.py for the table
/// varnol-bench --instructions         does every row of the library a fixed number of times, for
///                                     callgrind to count; see instructions.py
///
/// Before that all ways of a work are seen to come to the same result. Exit status: 0; 1 when they
/// do not; 2 wrong usage.

#include "bench/Rows.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string_view>

#include <valgrind/callgrind.h>

namespace Bench {
namespace {

Rows allRows() {
    Rows rows;
    mirrorScalar(rows);
    mirrorTxUpdate(rows);
    rxUpdate(rows);
    copyRecord(rows);
    frame(rows);
    sync(rows);
    mirrorInLargeTree(rows);
    memoryRecord(rows);
    traceOff(rows);
    blockTimer(rows);
    return rows;
}

/// What is done: the name without "varnol/", "floor/" or "peer/LIBRARY/".
std::string workOf(std::string const& name) { return name.substr(name.rfind('/') + 1); }

bool sameResults(std::vector<Row> const& rows) {
    std::map<std::string, std::pair<std::string, std::string>> first; // name and result
    for (Row const& row : rows) {
        const std::string result = row.check();
        const auto [found, isFirst] = first.try_emplace(workOf(row.name), row.name, result);
        if (!isFirst && found->second.second != result) {
            std::cerr << "varnol-bench: results differ:\n"
                      << found->second.first << ": " << found->second.second.substr(0, 1000) << "\n"
                      << row.name << ": " << result.substr(0, 1000) << "\n";
            return false;
        }
    }
    return true;
}

double nanoseconds(Row const& row, unsigned times) {
    const auto begin = std::chrono::steady_clock::now();
    row.repeat(times);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin)
        .count();
}

/// The library's cost as a multiple of the floor's: the median over many short batches of both by
/// turns, so that whatever else the machine does is shared by the two.
double pairedRatio(Row const& varnol, Row const& floor) {
    constexpr unsigned rounds = 101;
    constexpr double batch = 20'000;    // ns
    constexpr unsigned warmUp = 20'000; // until what a work walks through is in the caches
    varnol.repeat(warmUp);
    floor.repeat(warmUp);
    const auto times = static_cast<unsigned>(1 + batch / (nanoseconds(varnol, 1000) / 1000));
    std::array<double, rounds> ratios;
    for (double& ratio : ratios) {
        const double cost = nanoseconds(varnol, times);
        ratio = cost / nanoseconds(floor, times);
    }
    std::ranges::nth_element(ratios, ratios.begin() + rounds / 2);
    return ratios[rounds / 2];
}

/// Many short repetitions, so that the ways of a work share the machine's good and bad times; few
/// of what takes long.
void time(Rows const& rows) {
    for (Row const& row : rows.rows()) {
        auto* const registered = benchmark::RegisterBenchmark(row.name.c_str(), row.time);
        if (row.iterations != 0)
            registered->Iterations(row.iterations)->Repetitions(5);
        else
            registered->MinTime(0.04)->Repetitions(15);
    }
    for (Row const& varnol : rows.rows()) {
        const bool takesLong = varnol.iterations != 0 || varnol.counted < 1000;
        if (takesLong || !varnol.name.starts_with("varnol/"))
            continue;
        const std::string work = workOf(varnol.name);
        Row const& floor = *std::ranges::find(rows.rows(), "floor/" + work, &Row::name);
        benchmark::RegisterBenchmark(("ratio/" + work).c_str(),
                                     [&](benchmark::State& state) {
                                         for ([[maybe_unused]] auto _ : state)
                                             state.counters["ratio"] = pairedRatio(varnol, floor);
                                     })
            ->Iterations(1)
            ->Repetitions(15);
    }
    for (MemoryRow const& row : rows.memory()) {
        benchmark::RegisterBenchmark(row.name.c_str(),
                                     [row](benchmark::State& state) {
                                         for ([[maybe_unused]] auto _ : state)
                                             state.counters["octets"] = row.octets();
                                     })
            ->Iterations(1)
            ->Repetitions(1);
    }
    benchmark::AddCustomContext("compiler", VARNOL_BENCH_COMPILER);
    benchmark::AddCustomContext("flags", VARNOL_BENCH_FLAGS);
    // What the program says to stderr is for its user: here, that results differ.
    benchmark::ConsoleReporter console;
    console.SetErrorStream(&console.GetOutputStream());
    benchmark::RunSpecifiedBenchmarks(&console);
}

/// Each row's instructions become one dump of callgrind, named as the row and the number of times.
void count(std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        if (row.counted == 0 || !row.name.starts_with("varnol/"))
            continue;
        const std::string dump = row.name + " " + std::to_string(row.counted);
        row.repeat(1);
        CALLGRIND_START_INSTRUMENTATION;
        CALLGRIND_ZERO_STATS;
        row.repeat(row.counted);
        CALLGRIND_DUMP_STATS_AT(dump.c_str());
        CALLGRIND_STOP_INSTRUMENTATION;
    }
}

} // namespace
} // namespace Bench

int main(int argc, char** argv) {
    const bool counting = argc == 2 && std::string_view(argv[1]) == "--instructions";
    if (!counting) {
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            return 2;
    }
    const Bench::Rows rows = Bench::allRows();
    if (counting) {
        Bench::count(rows.rows());
        return EXIT_SUCCESS;
    }
    if (!Bench::sameResults(rows.rows()))
        return EXIT_FAILURE;
    Bench::time(rows);
    return EXIT_SUCCESS;
}
