#include "tests/framework/ToySyncer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

// What syncers do is disturbed at each of its steps in turn: in every handler, in every constructor
// and destructor, and at every write of the destination, something is done to the trees or to the
// syncer itself. Afterwards the reactors must stand as the source does, or all be gone.

using Toy::Group;
using Toy::GroupSyncer;
using Toy::groupSyncerFactory;
using Toy::Item;
using Toy::ItemId;
using Toy::ItemSyncer;
using Toy::itemSyncerFactory;
using Toy::Record;
using Toy::Tape;
using Zel::AttributeId;
using Zel::Ptr;

namespace {

/// Notes every notification of a destination's entity on a tape.
template <class E> class Witness final : public Zel::Object<Witness<E>, Zel::NotifieeConstOf<E>> {
  public:
    static Zel::TypeNode const _zelType;
    Witness(Ptr<E> const& entity, Tape& tape)
        : tape_(tape) {
        Zel::NotifieeConstOf<E>::notifierIs(entity);
    }

    void onAttribute(AttributeId id, void const* key) override {
        // This reactor may be gone when the step has been noted.
        Tape& tape = tape_;
        const AttributeId noted = id;
        if constexpr (std::is_same_v<E, Record>) {
            if (id == Record::itemAttribute::id)
                follow(this->notifier()->item(*static_cast<ItemId const*>(key)));
        }
        tape.note("destination", std::to_string(noted));
    }

    std::vector<Ptr<Witness<Item>>> onItems;

  private:
    void follow(Ptr<Item const> const& item) {
        if (item && item->notifieeList()->empty())
            onItems.push_back(
                Zel::newActive<Witness<Item>>(Ptr<Item>(const_cast<Item*>(item.ptr())), tape_));
    }

    Tape& tape_;
};
template <class E> constinit Zel::TypeNode const Witness<E>::_zelType{"Witness", {}};

/// Whether handlers, or what they are called by, run at the step: then anything may be done there.
/// Of the many scalars of an item the first and the last will do.
bool mayBeDisturbed(std::string_view step) {
    for (const std::string_view part :
         {" zombie ",  " active ", " owner null", " notifier", ") ratio",  ") label",
          ") enabled", ") octet",  ") port",      ") total",   ") offset", ") tag",
          ") colour",  ") digest", ") weight",    "tion 260",  "tion 262", "tion 263",
          "tion 267",  "tion 268", "tion 269",    "tion 27"}) {
        if (step.find(part) != step.npos)
            return false;
    }
    return true;
}

bool isDestruction(std::string_view step) { return step.ends_with(" destroy"); }

/// The trees, a syncer on them, and the plan to disturb one step.
template <class Syncer> struct Stage {
    Tape tape;
    Ptr<Record> source{new Record};
    Ptr<Record> other{new Record};
    Ptr<Record> destination{new Record};
    Ptr<Syncer> syncer;
    Ptr<Witness<Record>> witness = Zel::newActive<Witness<Record>>(destination, tape);

    ~Stage() { tape.at = nullptr; }

    Syncer* root() const {
        if constexpr (std::is_same_v<Syncer, ItemSyncer>)
            return tape.itemSyncer;
        else
            return tape.groupSyncer;
    }

    /// Whether the reactor on the source hears of changes.
    bool listening() const {
        return syncer && syncer->hasNotificationActive() && !syncer->zelMarkedForDeletion() &&
               tape.source && tape.source->notifier();
    }
};

struct Refused {};

/// What is to hold afterwards.
enum class Leaves {
    all,       ///< children and destination are like the source
    children,  ///< the children are
    repairable ///< the children are when the source has notified all its keys once more
};

template <class Syncer> struct Scenario {
    const char* name;
    enum { acts, constructs, onlyDestroys } kind;
    Leaves leaves;
    /// Does one thing.
    void (*play)(Stage<Syncer>&);
};

template <class Syncer> struct Disturbance {
    const char* name;
    Leaves leaves;
    /// The same, where the construction of the root is disturbed.
    Leaves afterConstruction;
    /// Not to be done where objects are destroyed.
    bool notAtDestruction;
    void (*act)(Stage<Syncer>&);
};

template <class Syncer> void PrintTo(Scenario<Syncer> const& scenario, std::ostream* out) {
    *out << scenario.name;
}
template <class Syncer> void PrintTo(Disturbance<Syncer> const& disturbance, std::ostream* out) {
    *out << disturbance.name;
}

template <class Syncer> using Case = std::tuple<Scenario<Syncer>, Disturbance<Syncer>>;

template <class Syncer> std::string caseName(::testing::TestParamInfo<Case<Syncer>> const& info) {
    return std::string(std::get<1>(info.param).name) + "During" + std::get<0>(info.param).name;
}

/// Every scenario with every disturbance that it has a step for.
template <class Syncer, std::size_t scenarioCount, std::size_t disturbanceCount>
std::vector<Case<Syncer>> allCases(Scenario<Syncer> const (&scenarios)[scenarioCount],
                                   Disturbance<Syncer> const (&disturbances)[disturbanceCount]) {
    std::vector<Case<Syncer>> cases;
    for (Scenario<Syncer> const& scenario : scenarios) {
        for (Disturbance<Syncer> const& disturbance : disturbances) {
            if (scenario.kind != scenario.onlyDestroys || !disturbance.notAtDestruction)
                cases.emplace_back(scenario, disturbance);
        }
    }
    return cases;
}

/// Plays the scenario with the disturbance at one of its steps.
/// @return whether there is such a step
template <class Syncer, class Check>
bool playDisturbed(Stage<Syncer>& stage, Case<Syncer> const& played, std::size_t step,
                   std::string& where, Check const& check) {
    auto const& [scenario, disturbance] = played;
    std::size_t steps = 0;
    bool done = false;
    stage.tape.at = [&, &disturb = disturbance](std::string const& noted) {
        if (done || !mayBeDisturbed(noted) || (disturb.notAtDestruction && isDestruction(noted)))
            return;
        if (steps++ == step) {
            done = true;
            where = noted;
            disturb.act(stage);
        }
    };
    try {
        scenario.play(stage);
    } catch (Refused const&) {
    }
    stage.tape.at = nullptr;
    if (done && stage.listening())
        check(std::max(scenario.leaves, scenario.kind == scenario.constructs
                                            ? disturbance.afterConstruction
                                            : disturbance.leaves));
    return done;
}

// ItemSyncer

using ItemStage = Stage<ItemSyncer>;

const Scenario<ItemSyncer> itemScenarios[] = {
    {"TheConstruction", Scenario<ItemSyncer>::constructs, Leaves::all,
     [](ItemStage& s) { s.syncer = itemSyncerFactory(s.source, s.destination, &s.tape); }},
    {"AnAddition", Scenario<ItemSyncer>::acts, Leaves::all,
     [](ItemStage& s) { s.source->itemIs(4); }},
    {"ARemoval", Scenario<ItemSyncer>::acts, Leaves::all,
     [](ItemStage& s) { s.source->itemDel(2); }},
    {"AReplacement", Scenario<ItemSyncer>::acts, Leaves::all,
     [](ItemStage& s) { s.source->itemMemberIs(Ptr(new Item(2))); }},
    {"AChangeOfTheSource", Scenario<ItemSyncer>::acts, Leaves::all,
     [](ItemStage& s) { s.source->titleIs("changed"); }},
    {"AChangeOfAnElement", Scenario<ItemSyncer>::acts, Leaves::all,
     [](ItemStage& s) { s.source->item(2)->countIs(9); }},
    {"AChangeOfATally", Scenario<ItemSyncer>::acts, Leaves::all,
     [](ItemStage& s) { s.source->tallyInc(1, 1); }},
    {"ARebinding", Scenario<ItemSyncer>::acts, Leaves::children,
     [](ItemStage& s) { s.syncer->sourceIs(s.other); }},
    {"TheRemovalOfTheSource", Scenario<ItemSyncer>::onlyDestroys, Leaves::repairable,
     [](ItemStage& s) { s.syncer->sourceDel(); }},
    {"TheRemovalOfAllChildren", Scenario<ItemSyncer>::onlyDestroys, Leaves::repairable,
     [](ItemStage& s) { s.syncer->itemDelAll(); }},
    {"TheEnd", Scenario<ItemSyncer>::onlyDestroys, Leaves::all,
     [](ItemStage& s) { s.syncer = nullptr; }},
};

// A constructor goes on with the source that it was given.
const Disturbance<ItemSyncer> itemDisturbances[] = {
    {"TheRootIsDropped", Leaves::all, Leaves::all, true,
     [](ItemStage& s) {
         const Ptr<ItemSyncer> last(s.root()); // the last one, also during the construction
         s.syncer = nullptr;
     }},
    {"TheSourceIsDropped", Leaves::all, Leaves::all, false,
     [](ItemStage& s) { s.source = nullptr; }},
    {"TheDestinationIsDropped", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         s.witness = nullptr;
         s.destination = nullptr;
     }},
    {"TheElementIsRemoved", Leaves::all, Leaves::all, false,
     [](ItemStage& s) { s.source->itemDel(2); }},
    {"TheElementIsMadeAgain", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         s.source->itemDel(2);
         s.source->itemIs(2)->countIs(77);
     }},
    {"TheElementIsReplaced", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         const Ptr<Item> replacement(new Item(2));
         replacement->countIs(78);
         s.source->itemMemberIs(replacement);
     }},
    {"TheElementIsChanged", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         if (const Ptr<Item> item = s.source->item(2))
             item->countIs(79);
     }},
    {"ElementsAreAdded", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         s.source->itemIs(0);
         s.source->itemIs(5);
     }},
    {"AllElementsAreRemoved", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         for (const unsigned key : {1u, 2u, 3u, 4u})
             s.source->itemDel(key);
     }},
    {"TheSourceIsChanged", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         s.source->titleIs("disturbed");
         s.source->tallyIs(1, 99);
     }},
    {"TheDestinationsElementIsRemoved", Leaves::children, Leaves::children, false,
     [](ItemStage& s) { s.destination->itemDel(2); }},
    {"TheRootIsRebound", Leaves::children, Leaves::repairable, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->sourceIs(s.other);
     }},
    {"TheSourceIsTakenAway", Leaves::children, Leaves::children, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->sourceIs(nullptr);
     }},
    {"TheReactorOnTheSourceIsRemoved", Leaves::children, Leaves::children, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->sourceDel();
     }},
    {"TheChildIsRemoved", Leaves::repairable, Leaves::repairable, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->itemDel(2);
     }},
    {"AllChildrenAreRemoved", Leaves::repairable, Leaves::repairable, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->itemDelAll();
     }},
    {"TheRootBecomesAZombie", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->zelDoZombieReactors(true);
     }},
    {"TheRootIsAZombieForAMoment", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         if (s.root()) {
             s.root()->zelDoZombieReactors(true);
             s.root()->zelDoZombieReactors(false);
         }
     }},
    {"TheRootIsSwitchedOff", Leaves::all, Leaves::all, false,
     [](ItemStage& s) {
         if (s.root())
             s.root()->hasNotificationActiveIs(false);
     }},
    {"AnExceptionIsThrown", Leaves::repairable, Leaves::repairable, true,
     [](ItemStage&) { throw Refused(); }},
    {"NothingIsDone", Leaves::all, Leaves::all, false, [](ItemStage&) {}},
};

void prepare(ItemStage& stage) {
    for (const unsigned key : {1u, 2u, 3u})
        stage.source->itemIs(key)->countIs(key);
    for (const unsigned key : {2u, 3u, 6u})
        stage.other->itemIs(key)->countIs(10 * key);
    stage.source->tallyIs(1, 1);
}

void notifyAllKeys(Record const& source) {
    for (unsigned key = 0; key < 8; ++key) {
        const ItemId id(key);
        source.notify(Record::itemAttribute::id, &id);
    }
}

void expectLikeTheSource(ItemStage& stage, bool destinationToo) {
    const Ptr<Record const> from = stage.syncer->source();
    auto& children = stage.syncer->children();
    EXPECT_TRUE(children.map().check());
    for (unsigned key = 0; key < 8; ++key) {
        SCOPED_TRACE("key " + std::to_string(key));
        Item const* const element = from->item(key).ptr();
        const auto child = stage.syncer->item(key);
        ASSERT_EQ(child != nullptr, element != nullptr);
        if (child) {
            EXPECT_EQ(child->watched(), element);
            EXPECT_EQ(child->owner(), stage.syncer.ptr());
            EXPECT_TRUE(child->hasNotificationActive());
            EXPECT_FALSE(child->zelMarkedForDeletion());
        }
        if (destinationToo && stage.destination) {
            const Ptr<Item> copy = stage.destination->item(key);
            ASSERT_EQ(copy != nullptr, element != nullptr);
            if (copy) {
                EXPECT_EQ(copy->count(), element->count());
            }
        }
    }
    if (destinationToo && stage.destination) {
        EXPECT_EQ(stage.destination->title(), from->title());
        EXPECT_EQ(stage.destination->tally(1), from->tally(1));
    }
}

class DisturbedItemSyncer : public ::testing::TestWithParam<Case<ItemSyncer>> {};

TEST_P(DisturbedItemSyncer, StandsAsItsSourceDoes) {
    auto const& [scenario, disturbance] = GetParam();
    const auto before = Toy::liveObjects();
    std::size_t step = 0;
    for (bool more = true; more && !HasFailure(); ++step) {
        {
            ItemStage stage;
            prepare(stage);
            if (scenario.kind != scenario.constructs)
                stage.syncer = itemSyncerFactory(stage.source, stage.destination, &stage.tape);
            std::string where;
            SCOPED_TRACE("step " + std::to_string(step));
            more = playDisturbed(stage, GetParam(), step, where, [&](Leaves leaves) {
                if (leaves == Leaves::repairable)
                    notifyAllKeys(*stage.syncer->source());
                expectLikeTheSource(stage, leaves == Leaves::all);
            });
            if (HasFailure())
                std::printf("    at \"%s\"\n", where.c_str());
        }
        EXPECT_EQ(Toy::liveObjects(), before) << "step " << step;
    }
    EXPECT_GT(step, 1u) << "no step was disturbed";
}

INSTANTIATE_TEST_SUITE_P(Pattern, DisturbedItemSyncer,
                         ::testing::ValuesIn(allCases(itemScenarios, itemDisturbances)),
                         caseName<ItemSyncer>);

// GroupSyncer, whose child reactors have child reactors

using GroupStage = Stage<GroupSyncer>;

const Scenario<GroupSyncer> groupScenarios[] = {
    {"TheConstruction", Scenario<GroupSyncer>::constructs, Leaves::all,
     [](GroupStage& s) { s.syncer = groupSyncerFactory(s.source, s.destination, &s.tape); }},
    {"AnAddition", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->groupIs("new"); }},
    {"ARemoval", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->groupDel("g"); }},
    {"AReplacement", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) {
         const Ptr<Group> replacement(new Group("g"));
         replacement->itemIs(2);
         replacement->itemIs(4);
         s.source->groupMemberIs(replacement);
     }},
    {"AnAdditionBelow", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->group("g")->itemIs(4); }},
    {"ARemovalBelow", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->group("g")->itemDel(2); }},
    {"AReplacementBelow", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->group("g")->itemMemberIs(Ptr(new Item(2))); }},
    {"AChangeOfAGroup", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->group("g")->levelIs(3); }},
    {"AChangeOfAnElement", Scenario<GroupSyncer>::acts, Leaves::all,
     [](GroupStage& s) { s.source->group("g")->item(2)->countIs(9); }},
    {"ARebinding", Scenario<GroupSyncer>::acts, Leaves::children,
     [](GroupStage& s) { s.syncer->sourceIs(s.other); }},
    {"TheEnd", Scenario<GroupSyncer>::onlyDestroys, Leaves::all,
     [](GroupStage& s) { s.syncer = nullptr; }},
};

/// Does this to the group g of the source, if there is one.
template <class Action> void toGroup(GroupStage& stage, Action const& action) {
    if (const Ptr<Group> group = stage.source->group("g"))
        action(*group);
}

// A reactor hears of changes once it is constructed: what a handler does meanwhile to the items of
// a group whose reactor is under construction is made good with the next notice.
const Disturbance<GroupSyncer> groupDisturbances[] = {
    {"TheRootIsDropped", Leaves::all, Leaves::all, true,
     [](GroupStage& s) {
         const Ptr<GroupSyncer> last(s.root());
         s.syncer = nullptr;
     }},
    {"TheSourceIsDropped", Leaves::all, Leaves::all, false,
     [](GroupStage& s) { s.source = nullptr; }},
    {"TheDestinationIsDropped", Leaves::all, Leaves::all, false,
     [](GroupStage& s) {
         s.witness = nullptr;
         s.destination = nullptr;
     }},
    {"TheGroupIsRemoved", Leaves::all, Leaves::all, false,
     [](GroupStage& s) { s.source->groupDel("g"); }},
    {"TheGroupIsMadeAgain", Leaves::all, Leaves::all, false,
     [](GroupStage& s) {
         s.source->groupDel("g");
         s.source->groupIs("g")->itemIs(5);
     }},
    {"TheGroupIsReplaced", Leaves::all, Leaves::all, false,
     [](GroupStage& s) {
         const Ptr<Group> replacement(new Group("g"));
         replacement->itemIs(2);
         s.source->groupMemberIs(replacement);
     }},
    {"GroupsAreAdded", Leaves::all, Leaves::all, false,
     [](GroupStage& s) {
         for (const char* name : {"a", "b", "c", "d", "e", "f"})
             s.source->groupIs(name)->itemIs(1);
     }},
    {"AllGroupsAreRemoved", Leaves::all, Leaves::all, false,
     [](GroupStage& s) {
         for (const char* name : {"g", "h", "new"})
             s.source->groupDel(name);
     }},
    {"ElementsAreAdded", Leaves::all, Leaves::repairable, false,
     [](GroupStage& s) {
         toGroup(s, [](Group& group) {
             group.itemIs(0);
             group.itemIs(5);
         });
     }},
    {"TheElementIsRemoved", Leaves::all, Leaves::repairable, false,
     [](GroupStage& s) { toGroup(s, [](Group& group) { group.itemDel(2); }); }},
    {"TheElementIsMadeAgain", Leaves::all, Leaves::repairable, false,
     [](GroupStage& s) {
         toGroup(s, [](Group& group) {
             group.itemDel(2);
             group.itemIs(2);
         });
     }},
    {"TheElementIsReplaced", Leaves::all, Leaves::repairable, false,
     [](GroupStage& s) { toGroup(s, [](Group& group) { group.itemMemberIs(Ptr(new Item(2))); }); }},
    {"TheRootIsRebound", Leaves::children, Leaves::repairable, false,
     [](GroupStage& s) {
         if (s.root())
             s.root()->sourceIs(s.other);
     }},
    {"TheReactorOnTheSourceIsRemoved", Leaves::children, Leaves::children, false,
     [](GroupStage& s) {
         if (s.root())
             s.root()->sourceDel();
     }},
    {"AllChildrenAreRemoved", Leaves::repairable, Leaves::repairable, false,
     [](GroupStage& s) {
         if (s.root())
             s.root()->children().delAll();
     }},
    {"TheRootBecomesAZombie", Leaves::all, Leaves::all, false,
     [](GroupStage& s) {
         if (s.root())
             s.root()->zelDoZombieReactors(true);
     }},
    {"AnExceptionIsThrown", Leaves::repairable, Leaves::repairable, true,
     [](GroupStage&) { throw Refused(); }},
    {"NothingIsDone", Leaves::all, Leaves::all, false, [](GroupStage&) {}},
};

const char* const groupNames[] = {"a", "b", "c", "d", "e", "f", "g", "h", "new"};

void prepare(GroupStage& stage) {
    for (const char* name : {"g", "h"}) {
        for (const unsigned key : {1u, 2u, 3u})
            stage.source->groupIs(name)->itemIs(key);
    }
    for (const char* name : {"g", "new"}) {
        for (const unsigned key : {2u, 6u})
            stage.other->groupIs(name)->itemIs(key);
    }
}

void notifyAllNames(Record const& source) {
    for (const char* name : groupNames) {
        const Zel::Name key(name);
        source.notify(Record::groupAttribute::id, &key);
        const Ptr<Group const> group = source.group(key);
        for (unsigned item = 0; group && item < 8; ++item) {
            const ItemId id(item);
            group->notify(Group::itemAttribute::id, &id);
        }
    }
}

void expectLikeTheSource(GroupStage& stage, bool destinationToo) {
    const Ptr<Record const> from = stage.syncer->source();
    EXPECT_TRUE(stage.syncer->children().map().check());
    for (const char* name : groupNames) {
        SCOPED_TRACE(name);
        const Ptr<Group const> group = from->group(name);
        const auto child = stage.syncer->group(name);
        ASSERT_EQ(child != nullptr, group != nullptr);
        if (destinationToo && stage.destination) {
            ASSERT_EQ(stage.destination->group(name) != nullptr, group != nullptr);
        }
        if (!child)
            continue;
        EXPECT_EQ(child->watched(), group.ptr());
        EXPECT_EQ(child->owner(), stage.syncer.ptr());
        EXPECT_TRUE(child->hasNotificationActive());
        EXPECT_FALSE(child->zelMarkedForDeletion());
        EXPECT_TRUE(child->children().map().check());
        for (unsigned key = 0; key < 8; ++key) {
            SCOPED_TRACE("key " + std::to_string(key));
            Item const* const element = group->item(key).ptr();
            const auto below = child->item(key);
            ASSERT_EQ(below != nullptr, element != nullptr);
            if (below) {
                EXPECT_EQ(below->watched(), element);
                EXPECT_EQ(below->owner(), child.ptr());
                EXPECT_TRUE(below->hasNotificationActive());
                EXPECT_FALSE(below->zelMarkedForDeletion());
            }
        }
    }
}

class DisturbedGroupSyncer : public ::testing::TestWithParam<Case<GroupSyncer>> {};

TEST_P(DisturbedGroupSyncer, StandsAsItsSourceDoes) {
    auto const& [scenario, disturbance] = GetParam();
    const auto before = Toy::liveObjects();
    std::size_t step = 0;
    for (bool more = true; more && !HasFailure(); ++step) {
        {
            GroupStage stage;
            prepare(stage);
            if (scenario.kind != scenario.constructs)
                stage.syncer = groupSyncerFactory(stage.source, stage.destination, &stage.tape);
            std::string where;
            SCOPED_TRACE("step " + std::to_string(step));
            more = playDisturbed(stage, GetParam(), step, where, [&](Leaves leaves) {
                if (leaves == Leaves::repairable)
                    notifyAllNames(*stage.syncer->source());
                expectLikeTheSource(stage, leaves == Leaves::all);
            });
            if (HasFailure())
                std::printf("    at \"%s\"\n", where.c_str());
        }
        EXPECT_EQ(Toy::liveObjects(), before) << "step " << step;
    }
    EXPECT_GT(step, 1u) << "no step was disturbed";
}

INSTANTIATE_TEST_SUITE_P(Pattern, DisturbedGroupSyncer,
                         ::testing::ValuesIn(allCases(groupScenarios, groupDisturbances)),
                         caseName<GroupSyncer>);

} // namespace
