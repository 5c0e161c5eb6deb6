// Every kind of hash map, with a good hash, one of eight bits and a constant one: random
// operations, against std::unordered_map.

#include "tests/framework/MapUnderTest.h"
#include "verify/MapSteps.h"
#include "verify/Verify.h"

#include <array>
#include <iostream>
#include <string>
#include <unordered_map>

namespace {

using Verify::grouped;
using Verify::MapTurn;
using Verify::Run;
using Verify::U64;
using Zel::Test::Item;

constexpr std::array<const char*, 6> kinds{
    "HashMap",     "HashMapOfEightBitHashes",     "HashMapOfEqualHashes",
    "HashMap2018", "HashMap2018OfEightBitHashes", "HashMap2018OfEqualHashes"};

std::string work(Run& run) {
    // From 4 buckets on, one doubling after the other, to 512 of them.
    constexpr std::array<MapTurn, 8> turns{
        {{512, 400}, {4, 4}, {16, 16}, {64, 64}, {8, 8}, {128, 64}, {32, 32}, {64, 64}}};
    U64 stepsOfWalks = 0;
    U64 growths = 0;
    U64 erased = 0;
    U64 erasedUnder = 0;
    U64 done = 0;
    for (const char* kind : kinds) {
        Verify::MapSteps<std::unordered_map<Zel::U32, Item const*>> steps(run,
                                                                          Zel::Test::mapKind(kind));
        steps.run(run.times(10'000'000), turns);
        Verify::expect(steps.longest() > 256, "the map has hardly grown");
        Verify::expect(steps.growthsDuringWalks() > 0, "no walk has met with growth");
        Verify::expect(steps.erasedDuringWalks() > steps.done() / 16,
                       "hardly an element was erased during a walk");
        Verify::expect(steps.erasedUnderWalks() > steps.done() / 1024,
                       "hardly an element was erased that a walk stood on");
        Verify::expect(steps.stepsOfWalks() > steps.done() / 16, "walks were hardly under way");
        std::cout << "note: " << kind << ": " << grouped(steps.done()) << " operations, up to "
                  << steps.longest() << " members" << std::endl;
        stepsOfWalks += steps.stepsOfWalks();
        growths += steps.growthsDuringWalks();
        erased += steps.erasedDuringWalks();
        erasedUnder += steps.erasedUnderWalks();
        done += steps.done();
    }
    std::cout << "note: " << grouped(stepsOfWalks)
              << " operations went on with a walk; the map grew " << grouped(growths)
              << " times while one was under way; " << grouped(erased)
              << " elements were erased meanwhile, " << grouped(erasedUnder)
              << " of them where a walk stood\n";
    return grouped(done) + " random operations, each with check()";
}

} // namespace

int main(int argc, char** argv) { return Run::main(argc, argv, work); }
