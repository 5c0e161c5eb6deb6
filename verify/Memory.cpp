/// Memory runs out in the middle of operations: on trees with and without syncers, on syncers, and
/// on packets, in worlds that random operations have made. Each allocation of an operation fails,
/// once; once more in what is done to make that good; and for ever, until memory is back.
///
/// After a failure that reaches the caller, what the operation changes is as it was before or as it
/// is when the operation succeeds, and the destinations of syncers are as they are after some of
/// the writes of the operation that succeeds. What makes it good is tried with failures, too, then
/// without: sources are as if nothing had failed; each syncer mirrors what it would mirror then, or
/// more, as it may when it finds what an attempt has made; also after further operations; and
/// nothing is leaked. Trees are compared as text that knows nothing of the library's comparison,
/// and by that.
///
/// A change counter counts what is done or notified again, again: after the first failure its count
/// is none that it has not on the way to that of the operation that succeeds, and in the end it is
/// no less. Traces are not compared.

#include "framework/zel/Diff.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/model/Journal.h"
#include "verify/MemoryWorld.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <new>
#include <numeric>
#include <set>

namespace {

using Verify::found;
using Zel::U64;
using Plan = FailingAllocation::Plan;
using Lines = MemoryWorld::Lines;

/// Where an operation makes more allocations than are paired each with each, an allocation is
/// paired with so many that are chosen at random.
constexpr std::size_t partners = 6;
constexpr std::size_t allPaired = 2 * partners;
/// So many operations show whether nothing is out of order that is not seen.
constexpr unsigned furtherOperations = 6;

struct Met {
    U64 worlds = 0, operations = 0, allocations = 0;
    U64 once = 0, pairs = 0, forEver = 0, allPairs = 0;
    U64 asBefore = 0, stored = 0, refused = 0, absorbed = 0, betweenWrites = 0, more = 0;
};

template <class Roots> Lines textOf(Roots const& roots) {
    Lines all;
    for (auto const& root : roots) {
        for (std::string& line : TreeText::contents(root))
            all.push_back(std::move(line));
        all.emplace_back("--");
    }
    return all;
}

struct State {
    explicit State(MemoryWorld const& world)
        : sources(textOf(world.sources()))
        , destinations(textOf(world.destinations())) {
        for (std::string& line : world.watching())
            sources.push_back(std::move(line));
    }
    bool operator==(State const&) const = default;

    Lines sources, destinations;
};

/// The first lines in which two texts differ.
std::string difference(Lines const& is, Lines const& expected) {
    const auto [left, right] = std::ranges::mismatch(is, expected);
    return "is \"" + (left == is.end() ? "nothing" : *left) + "\", expected \"" +
           (right == expected.end() ? "nothing" : *right) + "\"";
}

template <class Roots> bool sameByDiff(Roots const& left, Roots const& right) {
    return std::ranges::equal(left, right, [](auto const& one, auto const& other) {
        return Zel::diff(one.ptr(), other.ptr()).empty();
    });
}

/// One operation on one world, and what it is without failures.
class Case {
  public:
    Case(U64 worldSeed, U64 operationSeed, Met& met)
        : worldSeed_(worldSeed)
        , furtherSeed_(operationSeed + 1)
        , met_(met)
        , before_(worldSeed)
        , after_(worldSeed) {
        Verify::Run run;
        run.random().seed(operationSeed);
        operation_ = before_.choose(run);
        const MemoryWorld::Action action = operation_.on(after_);
        const std::size_t made = FailingAllocation::made();
        try {
            Verify::expect(action.act(), "with memory, an operation is refused");
        } catch (Zel::NameInUseException const&) {
            return; // as it is documented; there is nothing to be done then
        }
        allocations_ = FailingAllocation::made() - made;
        operation_.on(before_); // what is made ready is no part of the operation
    }

    std::size_t allocations() const noexcept { return allocations_; }

    void run(Verify::Run& random) {
        old_.emplace(before_);
        done_.emplace(after_);
        followWrites();
        learnFurther();
        for (std::size_t n = 1; n <= allocations_; ++n) {
            attempt({n}, met_.once);
            attempt({n, Plan::always}, met_.forEver);
            for (std::size_t after : someOrAll(random))
                attempt({n, after}, met_.pairs);
        }
        met_.allocations += allocations_;
        met_.allPairs += allocations_ <= allPaired;
    }

  private:
    /// Which allocations fail after the first one that does.
    std::vector<std::size_t> someOrAll(Verify::Run& random) const {
        const std::size_t all = allocations_; // about as many are made in what makes it good
        std::vector<std::size_t> chosen(all);
        std::iota(chosen.begin(), chosen.end(), 1);
        if (all > allPaired) {
            for (std::size_t at = 0; at < partners; ++at)
                std::swap(chosen[at], chosen[at + random.below(all - at)]);
            chosen.resize(partners);
        }
        return chosen;
    }

    /// Learns the states in which the destinations are between the writes.
    void followWrites() {
        MemoryWorld world(worldSeed_);
        const MemoryWorld::Action action = operation_.on(world);
        Journal journal(Journal::names);
        for (auto const& root : world.destinations())
            journal.follow(root);
        journal.look = [&](std::string const&) { writes_.insert(textOf(world.destinations())); };
        writes_.insert(textOf(world.destinations()));
        action.act();
        journal.close();
        writes_.insert(done_->destinations);
    }

    /// Learns what there is after the operation, and what becomes of it.
    void learnFurther() {
        const auto objects = liveObjects();
        MemoryWorld world(worldSeed_);
        {
            const MemoryWorld::Action action = operation_.on(world);
            action.act();
        }
        objects_ = objectsSince(objects);
        differences_ = world.differences();
        world.disturb(furtherSeed_, furtherOperations);
        further_.emplace(world);
        furtherDifferences_ = world.differences();
    }

    static std::map<std::string, U64> objectsSince(std::map<std::string, U64> const& before) {
        auto now = liveObjects();
        for (auto const& [name, count] : before)
            now[name] -= count;
        std::erase_if(now, [](auto const& each) { return each.second == 0; });
        return now;
    }

    [[noreturn]] void wrong(std::string const& what) const {
        found("world " + std::to_string(worldSeed_) + ", " + operation_.name + ", " + plan_ + ": " +
              what);
    }

    /// One attempt under failures, what makes it good under those that are left, and without.
    void attempt(Plan plan, U64& counter) {
        plan_ = "allocation " + std::to_string(plan.next) + " of " + std::to_string(allocations_) +
                " fails" +
                (plan.after == Plan::always ? " and all after it"
                 : plan.after != 0 ? " and number " + std::to_string(plan.after) + " after it"
                                   : "");
        const auto objects = liveObjects();
        const auto memory = FailingAllocation::outstanding();
        bool allFailed = false; // as planned
        {
            MemoryWorld world(worldSeed_);
            {
                const MemoryWorld::Action action = operation_.on(world);
                bool done = tried(action.act, plan);
                allFailed = plan.next == 0 || plan.after == Plan::always;
                judgeFirst(world, done);
                for (unsigned again = 0; !done && again < 3; ++again) {
                    if (again == 2)
                        plan = {}; // memory is back
                    const bool isStored = !(State(world).sources == old_->sources);
                    done = tried(isStored && action.notice ? std::function<bool()>([&] {
                                     action.notice();
                                     return true;
                                 })
                                                           : action.act,
                                 plan);
                    allFailed |= plan.next == 0 && again < 2;
                    judge(world, done);
                }
                if (!done)
                    wrong("with memory again, it does not succeed");
            }
            const bool asDone = State(world) == *done_;
            if (asDone && objectsSince(objects) != objects_)
                wrong("there are other objects than without failures");
            world.disturb(furtherSeed_, furtherOperations);
            const State state(world);
            const bool asFurther = state == *further_;
            if (const std::string path = mirroredNoMore(world, furtherDifferences_);
                !asFurther && !path.empty())
                wrong("after further operations, " + path + " is not mirrored");
            met_.more += !asDone || !asFurther;
        }
        if (liveObjects() != objects)
            wrong("objects are left behind");
        if (FailingAllocation::outstanding() != memory)
            wrong("memory is left behind");
        counter += allFailed;
    }

    /// @return whether it was done; counts what became of the failure
    bool tried(std::function<bool()> const& act, Plan& plan) {
        failed_ = thrown_ = false;
        bool done = false;
        {
            const FailingAllocation failing(plan);
            try {
                done = act();
            } catch (std::bad_alloc const&) {
                thrown_ = true;
            }
            failed_ = failing.happened();
            plan = failing.left();
        }
        if (!done && !failed_)
            wrong("it failed without a failure");
        return done;
    }

    /// After any attempt: the sources are as before or as after, in every respect, and nothing is
    /// counted less often than without failures.
    void judge(MemoryWorld const& world, bool done) const {
        if (const Zel::U32 least = (done ? after_ : before_).changes(); world.changes() < least)
            wrong("the counter of changes is at " + std::to_string(world.changes()) + ", not at " +
                  std::to_string(least) + " or more");
        const State state(world);
        const bool isOld = state.sources == old_->sources;
        const bool isDone = state.sources == done_->sources;
        if (!isOld && !isDone)
            wrong("neither old nor new: " + difference(state.sources, old_->sources) + "; " +
                  difference(state.sources, done_->sources));
        if (!sameByDiff(world.sources(), isDone ? after_.sources() : before_.sources()))
            wrong("the text says that all is the same, the library's comparison does not");
        if (!done)
            return;
        if (!isDone)
            wrong("it succeeded, but " + difference(state.sources, done_->sources));
        const bool same = state.destinations == done_->destinations;
        if (same != sameByDiff(world.destinations(), after_.destinations()))
            wrong("text and the library's comparison of the destinations disagree");
        if (same)
            return;
        if (const std::string path = mirroredNoMore(world, differences_); !path.empty())
            wrong("it succeeded, but " + path + " is not mirrored");
    }

    /// Something that is different from its source, and is not where nothing failed; or nothing.
    /// Some of what a syncer leaves undone, as the ports that a new MST name brings with it, it
    /// does when it finds what an attempt has made.
    static std::string mirroredNoMore(MemoryWorld const& world, Lines const& differences) {
        const auto isUnder = [](std::string const& path, std::string const& place) {
            return path.starts_with(place) &&
                   (path.size() == place.size() || path[place.size()] == '.');
        };
        for (std::string const& path : world.differences()) {
            if (std::ranges::none_of(
                    differences, [&](std::string const& place) { return isUnder(path, place); }))
                return path;
        }
        return "";
    }

    void judgeFirst(MemoryWorld const& world, bool done) {
        if (!failed_)
            wrong("there was no such allocation");
        judge(world, done);
        if (const Zel::U32 most = after_.changes(); world.changes() > most)
            wrong("the counter of changes is at " + std::to_string(world.changes()) + " and not " +
                  std::to_string(most));
        const State state(world);
        if (done && state.destinations != done_->destinations)
            wrong("without the memory it went on, but " +
                  difference(state.destinations, done_->destinations));
        const auto at = writes_.find(state.destinations);
        if (at == writes_.end())
            wrong("the destinations are in no state between two writes");
        if (done)
            ++met_.absorbed;
        else if (!thrown_)
            ++met_.refused;
        else if (state.sources == old_->sources)
            ++met_.asBefore;
        else
            ++met_.stored;
        if (state.destinations != old_->destinations && state.destinations != done_->destinations)
            ++met_.betweenWrites;
    }

    U64 worldSeed_;
    U64 furtherSeed_;
    Met& met_;
    MemoryWorld before_, after_;
    MemoryWorld::Operation operation_;
    std::size_t allocations_ = 0;
    std::optional<State> old_, done_, further_;
    std::set<Lines> writes_;
    Lines differences_, furtherDifferences_;
    std::map<std::string, U64> objects_;
    std::string plan_;
    bool failed_ = false, thrown_ = false;
};

std::string verify(Verify::Run& run) {
    constexpr U64 operationsPerWorld = 12;
    const U64 worlds = run.times(1000);
    // From now on the packet manager keeps as much memory as it ever does.
    MemoryWorld(run.seed()).drainPackets();
    Met met;
    for (; met.worlds < worlds; ++met.worlds) {
        const U64 worldSeed = run.random()();
        for (U64 at = 0; at < operationsPerWorld; ++at) {
            Case each(worldSeed, run.random()(), met);
            if (each.allocations() == 0)
                continue;
            ++met.operations;
            each.run(run);
        }
    }
    std::cout << "note: where an operation failed first, all was as before "
              << Verify::grouped(met.asBefore) << " times and its change stored "
              << Verify::grouped(met.stored) << " times; it was refused "
              << Verify::grouped(met.refused) << " times and went on without the memory "
              << Verify::grouped(met.absorbed) << " times; destinations stood between two writes "
              << Verify::grouped(met.betweenWrites)
              << " times; what made a failure good mirrored more "
              << "than the operation alone " << Verify::grouped(met.more) << " times\n";
    Verify::expect(met.asBefore != 0 && met.stored != 0 && met.betweenWrites != 0,
                   "not all kinds of failures are met");
    return Verify::grouped(met.operations) + " operations in " + Verify::grouped(met.worlds) +
           " worlds, each of their " + Verify::grouped(met.allocations) +
           " allocations failed once, and for ever, and " + Verify::grouped(met.pairs) +
           " pairs of failures, in " + Verify::grouped(met.allPairs) +
           " operations with the second at each of as many allocations";
}

} // namespace

int main(int argc, char** argv) { return Verify::Run::main(argc, argv, verify); }
