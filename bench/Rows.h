#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace Bench {

/// One row: a work done in one way, named "varnol/WORK", "floor/WORK" or "peer/LIBRARY/WORK".
struct Row {
    std::string name;
    /// Does the work a few times and tells what came of it.
    std::function<std::string()> check;
    /// Does the work as often as the state asks for.
    std::function<void(benchmark::State&)> time;
    /// Does the work so many times.
    std::function<void(unsigned times)> repeat;
    /// How often `time` does it at a time; 0 to let that be found out.
    unsigned iterations;
    /// How often it is done while its instructions are counted; 0 to leave it out there.
    unsigned counted;
};

/// A row of memory: octets on the heap for each of many equal things.
struct MemoryRow {
    std::string name;
    std::function<double()> octets;
};

/// How often a work is done.
struct Often {
    unsigned iterations = 0;
    unsigned counted = 1000;
    unsigned checked = 300;
};

/// All rows, in the order of the table.
///
/// A way to do a work is a class: its constructor prepares (not timed), `way(i)` does the work
/// once, for the i-th time in a row (timed), and `result()` tells as a text what came of it. All
/// ways of a work are done with the same numbers i, and must come to the same result.
class Rows {
  public:
    /// The way is constructed when it is first used, and then kept.
    template <class Way, class... Args>
    void add(std::string const& name, Often often = {}, Args... args) {
        const auto kept = std::make_shared<std::optional<Way>>();
        const auto way = [=]() -> Way& { return *kept ? **kept : kept->emplace(args...); };
        const auto repeat = [way](unsigned times) {
            Way& work = way();
            for (unsigned i = 0; i < times; ++i)
                work(i);
        };
        rows_.push_back({name,
                         [=] {
                             repeat(often.checked);
                             return way().result();
                         },
                         [way](benchmark::State& state) {
                             Way& work = way();
                             unsigned i = 0;
                             for ([[maybe_unused]] auto _ : state)
                                 work(i++);
                         },
                         repeat, often.iterations, often.counted});
    }
    void addMemory(std::string name, std::function<double()> octets) {
        memory_.push_back({std::move(name), std::move(octets)});
    }

    std::vector<Row> const& rows() const noexcept { return rows_; }
    std::vector<MemoryRow> const& memory() const noexcept { return memory_; }

  private:
    std::vector<Row> rows_;
    std::vector<MemoryRow> memory_;
};

// The works, one file each.
void mirrorScalar(Rows& rows);
void mirrorTxUpdate(Rows& rows);
void rxUpdate(Rows& rows);
void copyRecord(Rows& rows);
void frame(Rows& rows);
void sync(Rows& rows);
void mirrorInLargeTree(Rows& rows);
void memoryRecord(Rows& rows);
void traceOff(Rows& rows);
void blockTimer(Rows& rows);

} // namespace Bench
