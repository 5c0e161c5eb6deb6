/// All kinds of syncer at once, over many seeds: the transmit tree into another and into the
/// dynamic receive tree, a receive tree into that same dynamic tree, and a record into another
/// beside the counter of its changes. Sources, destinations and syncers change at random: they are
/// written, paused, bound to other sources, dropped and made anew; models that know nothing of the
/// library say what comes of it.
///
/// What is done, what the destinations of every second seed tell, and how everything looks at each
/// comparison goes into a digest, which is told at the end: it is the same for each compiler.

#include "framework/zel/Census.h"
#include "tests/model/Journal.h"
#include "tests/syncers/RecordWorld.h"
#include "tests/syncers/TransmitWorld.h"
#include "verify/Verify.h"

#include <cstdio>
#include <iostream>

namespace {

using Zel::U64;

constexpr unsigned operationsPerSeed = 1000;
constexpr unsigned operationsPerComparison = 25;
constexpr U64 seedsReplayed = 100; // about as many

struct Met {
    U64 operations = 0, comparisons = 0, differences = 0, notifications = 0;
    U64 withoutChange = 0; // operations that had nothing to change, which do not count
    U64 refused = 0;
    Disturbed transmit, receive, record;
};

/// The syncers of all kinds, and in every other world the journal of what they write; where nobody
/// follows a destination, they write it in other ways.
class Syncers {
  public:
    explicit Syncers(U64 seed)
        : dice_(seed)
        , transmit_(dice_, dynamic_)
        , receive_(dice_, dynamic_)
        , record_(dice_) {
        if (seed % 2 != 0)
            return;
        journal_.follow(transmit_.dest(), "tx/");
        journal_.follow(dynamic_.tree, "dynamic/");
        journal_.follow(record_.dest(), "record/");
    }

    /// @return the digest
    U64 run(Met& met) {
        for (unsigned done = 0; done < operationsPerSeed;) {
            const bool changed = operate();
            const auto told = journal_.take();
            if (!changed) {
                ++met.withoutChange;
                Verify::expect(told.empty(), "a destination tells of a change where none was due");
                continue;
            }
            ++done;
            ++met.operations;
            met.notifications += told.size();
            for (std::string const& line : told)
                dice_.digest.add(line);
            if (done % operationsPerComparison == 0)
                compare(met);
        }
        transmit_.becomesEqual();
        receive_.becomesEqual();
        record_.becomesEqual();
        digestAll();
        met.differences += transmit_.different + receive_.different + record_.different;
        met.transmit += transmit_.disturbed;
        met.receive += receive_.disturbed;
        met.record += record_.disturbed;
        met.refused += transmit_.refusedSource + transmit_.refusedDest + receive_.refused;
        return dice_.digest.value();
    }

  private:
    bool operate() {
        switch (dice_.below(5)) {
        case 0:
            return record_.operate();
        case 1:
        case 2:
            return receive_.operate();
        default:
            return transmit_.operate();
        }
    }
    void compare(Met& met) {
        transmit_.compare();
        receive_.compare();
        record_.compare();
        digestAll();
        ++met.comparisons;
    }
    void digestAll() {
        for (Journal::Entity const& tree :
             {Journal::Entity(transmit_.dest()), Journal::Entity(dynamic_.tree),
              Journal::Entity(record_.dest())}) {
            for (std::string const& line : TreeText::contents(tree))
                dice_.digest.add(line);
        }
    }

    Dice dice_;
    DynamicTree dynamic_;
    TransmitWorld transmit_;
    ReceiveWorld receive_;
    RecordWorld record_;
    Journal journal_;
};

U64 digestOf(U64 seed, Met& met) {
    try {
        const U64 digest = Syncers(seed).run(met);
        Verify::expect(Zel::census().live() == 0, "objects are left behind");
        return digest;
    } catch (std::exception const& fault) {
        Verify::found("world " + std::to_string(seed) + ", after " +
                      std::to_string(met.operations % operationsPerSeed) +
                      " operations: " + fault.what());
    }
}

std::string verify(Verify::Run& run) {
    const U64 seeds = run.times(10'000);
    Met met;
    std::vector<U64> digests;
    Digest all;
    for (U64 seed = 0; seed < seeds; ++seed) {
        digests.push_back(digestOf(run.seed() + seed, met));
        all.add(digests.back());
    }
    // Over all of them, with a journal and without: the step is odd where not all are replayed.
    const U64 step = seeds / (2 * seedsReplayed) * 2 + 1;
    Met again;
    U64 replayed = 0;
    for (U64 seed = 0; seed < seeds; seed += step, ++replayed) {
        if (digestOf(run.seed() + seed, again) != digests[seed])
            Verify::found("world " + std::to_string(run.seed() + seed) +
                          " is another when replayed");
    }
    Verify::expect(met.operations == seeds * operationsPerSeed, "not every operation was done");
    Verify::expect(met.differences > seeds && met.differences < 3 * met.comparisons,
                   "source and destination differed never, or always");
    Verify::expect(met.refused > seeds / 10, "syncers hardly refused other sources");
    for (Disturbed const& kind : {met.transmit, met.receive, met.record})
        Verify::expect(kind.eachAtLeast(seeds / 20),
                       "syncers of a kind were hardly paused, rebound, dropped or made anew");
    Disturbed disturbed = met.transmit;
    (disturbed += met.receive) += met.record;
    Verify::expect(met.withoutChange != 0, "each operation had something to change");
    std::cout << "note: " << Verify::grouped(met.withoutChange)
              << " more that had nothing to change, " << Verify::grouped(met.comparisons)
              << " comparisons of all trees and "
              << "syncers with the models, " << Verify::grouped(met.notifications)
              << " notifications of the destinations of every second seed, syncers paused "
              << Verify::grouped(disturbed.paused) << " times, bound to another source "
              << Verify::grouped(disturbed.rebound) << " times, dropped "
              << Verify::grouped(disturbed.dropped) << " times and made anew "
              << Verify::grouped(disturbed.recreated) << " times, " << Verify::grouped(met.refused)
              << " changes of parameters refused; " << Verify::grouped(replayed)
              << " seeds, one of each " << step << ", replayed with the same digest\n";
    std::printf("note: digest %016llx\n", static_cast<unsigned long long>(all.value()));
    std::fflush(stdout);
    return Verify::grouped(met.operations) + " operations that had something to change, " +
           Verify::grouped(seeds) + " seeds";
}

} // namespace

int main(int argc, char** argv) { return Verify::Run::main(argc, argv, verify); }
