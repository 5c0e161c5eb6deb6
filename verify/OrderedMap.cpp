// The ordered map: every order of a few keys, and random operations, against std::map.

#include "tests/framework/MapInEveryOrder.h"
#include "tests/framework/MapUnderTest.h"
#include "verify/MapSteps.h"
#include "verify/Verify.h"

#include <array>
#include <iostream>
#include <map>
#include <string>

namespace {

using Verify::grouped;
using Verify::MapTurn;
using Verify::Run;
using Verify::U64;
using Zel::Test::Item;

std::string work(Run& run) {
    Zel::Test::MapKind const& kind = Zel::Test::mapKind("RbTreeMap");

    const auto orders = Zel::Test::changeInEveryOrder(kind, run.isWhole() ? 6 : 5,
                                                      Zel::Test::KnownSteps::lookedAtAgain);
    if (run.isWhole())
        Verify::expect(orders.pairs == 533'417, "not every pair of orders was seen");

    constexpr std::array<MapTurn, 8> turns{
        {{4, 4}, {16, 16}, {64, 64}, {8, 8}, {128, 64}, {32, 32}, {64, 64}, {256, 200}}};
    Verify::MapSteps<std::map<Zel::U32, Item const*>> steps(run, kind);
    steps.run(run.times(10'000'000), turns);
    Verify::expect(steps.longest() > 100, "the map was never long");
    Verify::expect(steps.erasedDuringWalks() > steps.done() / 16,
                   "hardly an element was erased during a walk");
    Verify::expect(steps.erasedUnderWalks() > steps.done() / 1024,
                   "hardly an element was erased that a walk stood on");
    Verify::expect(steps.stepsOfWalks() > steps.done() / 16, "walks were hardly under way");

    std::cout << "note: checked after " << grouped(orders.steps) << " steps of the orders; up to "
              << steps.longest() << " members; " << grouped(steps.stepsOfWalks())
              << " operations went on with a walk; " << grouped(steps.erasedDuringWalks())
              << " elements were erased while one was under way, "
              << grouped(steps.erasedUnderWalks()) << " of them where it stood\n";
    return grouped(orders.pairs) + " pairs of orders; " + grouped(steps.done()) +
           " random operations, each with check()";
}

} // namespace

int main(int argc, char** argv) { return Run::main(argc, argv, work); }
