// Deliveries that reactors disturb, against a model: every script of four reactors, and random ones
// of up to 32.

#include "tests/framework/NotifierOracle.h"
#include "tests/framework/NotifierPlan.h"
#include "tests/framework/NotifierRealWorld.h"
#include "verify/Verify.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <string>

namespace {

using Notifying::Deeper;
using Notifying::Oracle;
using Notifying::Plan;
using Notifying::Player;
using Notifying::RealWorld;
using Notifying::Refused;
using Notifying::World;
using Verify::grouped;
using Verify::Run;
using Verify::U64;

constexpr unsigned reactors = 4;
constexpr unsigned fifth = reactors; // is there to be made
constexpr unsigned rounds = 2;
constexpr unsigned deepest = 3; // nested deliveries, where reactors feed each other

/// What a reactor does whenever it is called. The next one is the one with the next number, after
/// the last the first.
enum class Action {
    nothing,
    notify,
    notifyTheOtherEntity,
    refuse,
    unbindItself,
    bindItselfAgain,
    bindItselfToTheOtherEntity,
    destroyItself,
    unbindTheNext,
    bindTheNext, // again; it is made anew where it is gone
    switchTheNext,
    makeTheNextAZombie, // or end that
    destroyTheNext,
    destroyThePrevious,
    bindTheFifth, // again, from the second time on
    endTheEntity,
    actions
};
constexpr unsigned actions = static_cast<unsigned>(Action::actions);
constexpr U64 scripts = U64{actions} * actions * actions * actions;
static_assert(scripts == 65'536);

/// Has four reactors, bound to the first of two entities, act by a script in each round.
class Scripted {
  public:
    /// @param script  its hexadecimal digits are the reactors' actions, the last one the first's
    Scripted(World& world, U64 script)
        : world_(world)
        , script_(script) {}

    void play() {
        for (unsigned reactor = 0; reactor < reactors; ++reactor)
            renew(reactor);
        world_.onCall = [this](unsigned reactor) {
            if (reactor < reactors)
                perform(static_cast<Action>(script_ >> 4 * reactor & 0xf), reactor);
        };
        for (unsigned round = 0; round < rounds; ++round) {
            try {
                notify(0);
            } catch (Refused const&) {
                ++refusals_;
            }
        }
        world_.onCall = nullptr;
        for (const unsigned entity : {0U, 1U})
            notify(entity); // shows who is bound, in which order
    }

    unsigned refusals() const { return refusals_; }

  private:
    void notify(unsigned entity) {
        if (!world_.alive(entity) || depth_ == deepest)
            return;
        const Deeper deeper(depth_);
        world_.notify(entity);
    }
    void bind(unsigned reactor, unsigned entity) {
        if (world_.exists(reactor) && world_.alive(entity))
            world_.bind(reactor, entity);
    }
    void unbind(unsigned reactor) {
        if (world_.exists(reactor))
            world_.unbind(reactor);
    }
    void destroy(unsigned reactor) {
        if (world_.exists(reactor))
            world_.destroy(reactor);
    }
    void renew(unsigned reactor) {
        if (!world_.exists(reactor)) {
            world_.create(reactor);
            active_[reactor] = true;
            zombie_[reactor] = false;
        }
        bind(reactor, 0);
    }

    void perform(Action action, unsigned self) {
        const unsigned next = (self + 1) % reactors;
        switch (action) {
        case Action::nothing:
        case Action::actions:
            return;
        case Action::notify:
            return notify(0);
        case Action::notifyTheOtherEntity:
            return notify(1);
        case Action::refuse:
            throw Refused();
        case Action::unbindItself:
            return unbind(self);
        case Action::bindItselfAgain:
            return bind(self, 0);
        case Action::bindItselfToTheOtherEntity:
            return bind(self, 1);
        case Action::destroyItself:
            return destroy(self);
        case Action::unbindTheNext:
            return unbind(next);
        case Action::bindTheNext:
            return renew(next);
        case Action::switchTheNext:
            if (world_.exists(next))
                world_.activeIs(next, active_[next] = !active_[next]);
            return;
        case Action::makeTheNextAZombie:
            if (world_.exists(next))
                world_.zombieIs(next, zombie_[next] = !zombie_[next]);
            return;
        case Action::destroyTheNext:
            return destroy(next);
        case Action::destroyThePrevious:
            return destroy((self + reactors - 1) % reactors);
        case Action::bindTheFifth:
            return renew(fifth);
        case Action::endTheEntity:
            if (world_.alive(0))
                world_.release(0);
            for (unsigned reactor = 0; reactor <= fifth; ++reactor)
                unbind(reactor);
            return;
        }
    }

    World& world_;
    U64 script_;
    bool active_[fifth + 1] = {};
    bool zombie_[fifth + 1] = {};
    unsigned depth_ = 0;
    unsigned refusals_ = 0;
};

/// Ends the program where the worlds, of which both have just played, differ: afterwards, in the
/// order of all reactors, or at their end.
template <class Player>
void compare(std::string const& what, RealWorld& real, Player const& actual, Oracle& oracle,
             Player const& expected) {
    const auto fail = [&](std::string const& how) { Verify::found(what + ": " + how); };
    if (const std::string how = difference(real, oracle); !how.empty())
        fail(how);
    if (actual.refusals() != expected.refusals())
        fail("refusals: " + std::to_string(actual.refusals()) + ", expected " +
             std::to_string(expected.refusals()));
    oracle.showOrder();
    real.showOrder();
    if (const std::string how = difference(real, oracle); !how.empty())
        fail("with all reactors switched on: " + how);
    oracle.end();
    real.end();
    if (const std::string how = difference(real, oracle); !how.empty())
        fail("at the end of the world: " + how);
    if (real.alive(0) || real.alive(1))
        fail("an entity outlives its reactors");
}

std::string everyScript(Run const& run) {
    const U64 wanted = run.times(scripts);
    const U64 stride = scripts / wanted;
    U64 equal = 0;
    U64 calls = 0;
    for (; equal < wanted; ++equal) {
        const U64 script = equal * stride;
        Oracle oracle;
        Scripted expected(oracle, script);
        expected.play();
        RealWorld real;
        Scripted actual(real, script);
        actual.play();
        for (const Notifying::Event event : oracle.log)
            calls += event.what == Notifying::Event::called;
        compare("script " + std::to_string(script), real, actual, oracle, expected);
    }
    std::cout << "note: in the scripts, reactors were called " << grouped(calls) << " times\n";
    return grouped(equal) + " scripts equal";
}

std::string randomCommands(Run& run) {
    constexpr Plan::Limits limits{Notifying::reactorCount, Plan::mostCalls};
    const U64 wanted = run.times(10'000'000);
    Notifying::Random random(run.seed());
    Plan plan;
    U64 commands = 0;
    U64 worlds = 0;
    U64 calls = 0;
    U64 refusals = 0;
    unsigned mostBound = 0;
    unsigned mostNested = 0;
    for (; commands < wanted; ++worlds) {
        makeRandom(plan, random, limits);
        Oracle oracle;
        Player expected(oracle, plan);
        expected.start();
        mostBound = std::max({mostBound, oracle.boundTo(0), oracle.boundTo(1)});
        const unsigned before = oracle.commands();
        expected.play();
        commands += oracle.commands() - before;
        RealWorld real;
        Player actual(real, plan);
        actual.start();
        actual.play();
        for (const Notifying::Event event : oracle.log)
            calls += event.what == Notifying::Event::called;
        compare("random world " + std::to_string(worlds), real, actual, oracle, expected);
        refusals += expected.refusals();
        mostNested = std::max(mostNested, expected.deepest());
    }
    // They were such as to say something.
    Verify::expect(mostNested >= 6, "deliveries were hardly nested");
    Verify::expect(refusals != 0, "no reactor has thrown");
    if (run.isWhole())
        Verify::expect(mostBound == Notifying::reactorCount, "no entity had 32 reactors");
    std::cout << "note: the random commands were given in " << grouped(worlds)
              << " worlds, their reactors called " << grouped(calls) << " times, deliveries nested "
              << mostNested << " deep\n";
    return grouped(commands) + " random commands with up to " + std::to_string(mostBound) +
           " reactors of one entity";
}

std::string work(Run& run) {
    const std::string first = everyScript(run);
    return first + "; " + randomCommands(run);
}

} // namespace

int main(int argc, char** argv) { return Run::main(argc, argv, work); }
