/// A mirrored tree in service for long: values change, interfaces come and go. At checkpoints the
/// census is what a model says, the trees are equal, the process takes no more memory than after
/// warm-up, and without interfaces no more of that is in use.

#include "framework/zel/Census.h"
#include "verify/MirroredTree.h"
#include "verify/Verify.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <optional>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace {

using Zel::U64;

// A sanitizer keeps memory of its own, and what was freed for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryIsOurs = false;
#elif defined(__has_feature)
constexpr bool memoryIsOurs = !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
constexpr bool memoryIsOurs = true;
#endif

/// The memory of this process that is resident, in octets. Allocates nothing.
U64 residentMemory() {
    char text[128] = {};
    const int file = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    const ssize_t size = file < 0 ? -1 : ::read(file, text, sizeof text - 1);
    if (file >= 0)
        ::close(file);
    unsigned long long whole = 0, resident = 0;
    if (size <= 0 || std::sscanf(text, "%llu %llu", &whole, &resident) != 2)
        Verify::found("/proc/self/statm does not tell the resident memory");
    return resident * static_cast<U64>(::sysconf(_SC_PAGESIZE));
}

/// Octets of the heap that are in use, and the few free blocks that the thread keeps at hand.
U64 heapInUse() { return ::mallinfo2().uordblks; }

/// The least and the most that was measured, in octets.
struct Range {
    U64 least = ~U64{0}, most = 0;

    void add(U64 measured) {
        least = std::min(least, measured);
        most = std::max(most, measured);
    }
    U64 width() const { return (most - least + 1023) / 1024; } // KiB, rounded up
    std::string text() const {
        return "from " + std::to_string(least / 1024) + " to " + std::to_string(most / 1024) +
               " KiB";
    }
};

void expectCensus(MirroredTree::Objects const& expected) {
    if (const std::string difference = censusDifference(expected); !difference.empty())
        Verify::found("the census is not the model's: " + difference);
}

std::string verify(Verify::Run& run) {
    const U64 changes = run.times(10'000'000);
    const U64 portChanges = run.times(1'000'000); // additions, and as many removals
    constexpr unsigned checkpoints = 100;

    expectCensus({});
    U64 changed = 0, added = 0, removed = 0, most = 0;
    Range resident, inUse;
    {
        std::optional<MirroredTree> tree(std::in_place);
        const auto checkpoint = [&] {
            expectCensus(tree->objects());
            most = std::max(most, Zel::census().live());
            tree->receiveAll();
            if (const std::string difference = tree->difference(); !difference.empty())
                Verify::found("after " + std::to_string(changed) + " changes: " + difference);
            if (!tree->findsWrongValues())
                Verify::found("a wrong value in a destination is not found");
        };
        const auto stretch = [&](U64 untilChanged, U64 untilRemoved) {
            while (changed < untilChanged || removed < untilRemoved) {
                const bool late = removed * changes < changed * portChanges;
                if (!late && changed < untilChanged && tree->ports() != 0)
                    changed += tree->change(run.random());
                else // also where there is nothing to change
                    ++(tree->togglePort(run.random()) ? added : removed);
            }
        };
        // To warm up: the tree as large as it can become, then so many changes that the free memory
        // between its objects has the shape that it keeps.
        added = tree->fill();
        checkpoint();
        constexpr U64 warm = 500'000;
        stretch(warm, warm / 10);
        checkpoint();
        residentMemory(); // brings in code of its own
        const auto measure = [&] {
            resident.add(residentMemory());
            removed += tree->clear();
            expectCensus(tree->objects());
            inUse.add(heapInUse());
        };
        measure();
        for (unsigned at = 1; at <= checkpoints; ++at) {
            stretch(std::max(warm, changes / checkpoints * at),
                    std::max(warm / 10, portChanges / checkpoints * at));
            checkpoint();
            measure();
        }
    }
    expectCensus({});
    Verify::expect(changed >= changes && removed >= portChanges && added >= portChanges,
                   "not all of it was done");
    const U64 apart = std::max(resident.width(), inUse.width());
    std::cout << "note: at most " << most << " objects; at " << checkpoints
              << " checkpoints resident memory " << resident.text()
              << ", and of the heap in use without interfaces " << inUse.text() << std::endl;
    if (memoryIsOurs && apart > 64)
        Verify::found("the memory is not flat within 64 KiB");
    return Verify::grouped(changed) + " changes, " + Verify::grouped(added) +
           " interfaces added, " + Verify::grouped(removed) + " removed; census exact at " +
           std::to_string(checkpoints) + " checkpoints; " +
           (memoryIsOurs ? "memory flat within " + std::to_string(apart) + " KiB"
                         : "memory not judged, for it is a sanitizer's");
}

} // namespace

int main(int argc, char** argv) { return Verify::Run::main(argc, argv, verify); }
