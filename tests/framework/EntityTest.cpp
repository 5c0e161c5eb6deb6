#include "framework/zel/Entity.h"

#include "framework/zel/CopyScalars.h"
#include "framework/zel/Exception.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/ToyModel.h"

#include <gtest/gtest.h>

#include <csignal>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using Toy::Colour;
using Toy::Digest;
using Toy::Group;
using Toy::Item;
using Toy::ItemId;
using Toy::Log;
using Toy::logOf;
using Toy::Record;
using Toy::Recorder;
using Toy::textOf;
using Zel::AttributeId;
using Zel::Ptr;

namespace {

/// One call of the mutator of each scalar of an item, in the order of declaration.
void setAll(Item& item) {
    item.countIs(1);
    item.ratioIs(2.5);
    item.labelIs("label");
    item.enabledIs(true);
    item.octetIs(3);
    item.portIs(4);
    item.totalIs(5);
    item.offsetIs(-6);
    item.tagIs("tag");
    item.colourIs(Colour::red);
    item.digestIs({{7}});
    item.weightIs(8.5f);
    item.ageIs(9.5);
}

/// Counts its notifications, without any memory.
class Counter final : public Zel::Object<Counter, Record::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    void onAttribute(AttributeId, void const*) override { ++calls; }
    int calls = 0;
};
constinit Zel::TypeNode const Counter::_zelType{"Counter", {}};

constexpr AttributeId scalarIds[] = {259, 260, 261, 262, 263, 264, 266,
                                     267, 268, 269, 272, 273, 289};

class EntityTest : public ::testing::Test {
  protected:
    ~EntityTest() override {
        record = nullptr;
        item = nullptr;
        EXPECT_EQ(Toy::liveObjects(), before_);
    }

    Log log;
    Ptr<Item> item{new Item(1)};
    Ptr<Record> record{new Record};

  private:
    std::map<std::string, Zel::U64> before_ = [] {
        // Taken after the two entities were made: they are gone when it is compared.
        auto counts = Toy::liveObjects();
        if (--counts["Toy::Item"] == 0)
            counts.erase("Toy::Item");
        if (--counts["Toy::Record"] == 0)
            counts.erase("Toy::Record");
        return counts;
    }();
};

using EntityDeathTest = EntityTest;

// Scalars

TEST_F(EntityTest, BeginsWithZeros) {
    EXPECT_EQ(item->id(), ItemId(1));
    EXPECT_EQ(item->count(), 0u);
    EXPECT_EQ(item->ratio(), 0.0);
    EXPECT_TRUE(item->label().empty());
    EXPECT_FALSE(item->enabled());
    EXPECT_EQ(item->octet(), 0);
    EXPECT_EQ(item->port(), 0);
    EXPECT_EQ(item->total(), 0u);
    EXPECT_EQ(item->offset(), 0);
    EXPECT_EQ(item->tag(), Zel::Name());
    EXPECT_EQ(item->colour(), Colour::none);
    EXPECT_EQ(item->digest(), Digest());
    EXPECT_EQ(item->weight(), 0.0f);
    EXPECT_EQ(item->age(), 0.0);
    EXPECT_EQ(record->item().members(), 0u);
    EXPECT_EQ(record->group().members(), 0u);
}

TEST_F(EntityTest, AMutatorStoresTheValue) {
    setAll(*item);
    EXPECT_EQ(item->count(), 1u);
    EXPECT_EQ(item->ratio(), 2.5);
    EXPECT_EQ(item->label(), "label");
    EXPECT_TRUE(item->enabled());
    EXPECT_EQ(item->octet(), 3);
    EXPECT_EQ(item->port(), 4);
    EXPECT_EQ(item->total(), 5u);
    EXPECT_EQ(item->offset(), -6);
    EXPECT_EQ(item->tag(), Zel::Name("tag"));
    EXPECT_EQ(item->colour(), Colour::red);
    EXPECT_EQ(item->digest(), (Digest{{7}}));
    EXPECT_EQ(item->weight(), 8.5f);
    EXPECT_EQ(item->age(), 9.5);
}

TEST_F(EntityTest, AScalarMutatorNotifiesOnceWithItsIdentifierAndANullKey) {
    const auto reactor = watch(item, "a", log);
    setAll(*item);
    Log expected;
    for (const AttributeId id : scalarIds)
        expected.push_back({"a", id, "-"});
    EXPECT_EQ(log, expected);
}

TEST_F(EntityTest, AScalarMutatorNotifiesOfEqualValuesToo) {
    const auto reactor = watch(item, "a", log);
    setAll(*item);
    const Log first = std::exchange(log, {});
    setAll(*item);
    EXPECT_EQ(log.size(), std::size(scalarIds));
    EXPECT_EQ(log, first);
}

TEST_F(EntityTest, AScalarMutatorStoresBeforeItNotifies) {
    const auto reactor = watch(item, "a", log);
    int notified = 0;
    reactor->scriptIs([&](Recorder<Item>& self, AttributeId id, void const*) {
        Item const& now = *self.notifier();
        const bool stored = (id == 259 && now.count() == 1) || (id == 260 && now.ratio() == 2.5) ||
                            (id == 261 && now.label() == "label") || (id == 262 && now.enabled()) ||
                            (id == 263 && now.octet() == 3) || (id == 264 && now.port() == 4) ||
                            (id == 266 && now.total() == 5) || (id == 267 && now.offset() == -6) ||
                            (id == 268 && now.tag() == Zel::Name("tag")) ||
                            (id == 269 && now.colour() == Colour::red) ||
                            (id == 272 && now.digest() == Digest{{7}}) ||
                            (id == 273 && now.weight() == 8.5f) || (id == 289 && now.age() == 9.5);
        EXPECT_TRUE(stored) << id;
        ++notified;
    });
    setAll(*item);
    EXPECT_EQ(notified, 13);
}

TEST_F(EntityTest, AMutatorTakesAValueThatLiesInTheEntityItself) {
    item->labelIs("text");
    item->digestIs({{1, 2}});
    item->labelIs(item->label());
    item->digestIs(item->digest());
    item->ageIs(item->ratio());
    EXPECT_EQ(item->label(), "text");
    EXPECT_EQ(item->digest(), (Digest{{1, 2}}));
}

TEST_F(EntityTest, TheEntityMayDieInTheNotificationOfAScalar) {
    for (const AttributeId id : scalarIds) {
        auto dying = Ptr(new Item(2));
        auto reactor = watch(dying, "a", log);
        Item* const raw = dying.ptr();
        reactor->scriptIs([&](Recorder<Item>&, AttributeId, void const*) {
            dying = nullptr;
            reactor = nullptr;
        });
        Zel::dispatchAttribute<Item>(id, [&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::ScalarAttribute<A>)
                A::write(*raw, typename A::Value());
        });
        EXPECT_EQ(reactor, nullptr) << id;
        EXPECT_EQ(Item::_zelType.allocations().liveCount(), 1u) << id;
    }
    EXPECT_EQ(log.size(), std::size(scalarIds));
}

TEST_F(EntityTest, AScalarMayBeSetAgainInItsOwnNotification) {
    const auto reactor = watch(item, "a", log);
    reactor->scriptIs([&](Recorder<Item>&, AttributeId, void const*) {
        if (item->count() < 5)
            item->countIs(item->count() + 1);
    });
    item->countIs(1);
    EXPECT_EQ(item->count(), 5u);
    EXPECT_EQ(log, Log(5, {"a", 259, "-"}));
}

TEST_F(EntityTest, WithoutReactorsAMutatorJustStores) {
    setAll(*item);
    record->itemIs(1);
    record->itemDel(1);
    EXPECT_EQ(item->notifieeList()->members(), 0u);
    EXPECT_EQ(item->count(), 1u);
}

TEST_F(EntityTest, NotifiesWhenItIsToldTo) {
    const auto onItem = watch(item, "a", log);
    const auto onRecord = watch(record, "b", log);
    item->notify(262);
    item->notify(999);
    const ItemId key = 7;
    record->notify(261, &key);
    EXPECT_EQ(log, logOf({{"a", 262, "-"}, {"a", 999, "-"}, {"b", 261, "7"}}));
}

// Create or get

TEST_F(EntityTest, ACreatorMakesAChildUnderTheKey) {
    const Ptr<Item> child = record->itemIs(5);
    ASSERT_TRUE(child);
    EXPECT_EQ(child->id(), ItemId(5));
    EXPECT_EQ(record->item(5), child);
    EXPECT_EQ(record->item().members(), 1u);
    EXPECT_EQ(child->references(), 2u) << "one is the record's";
    const Ptr<Group> group = record->groupIs("g");
    ASSERT_TRUE(group);
    EXPECT_EQ(group->name(), Zel::Name("g"));
    EXPECT_EQ(record->group("g"), group);
}

TEST_F(EntityTest, ACreatorFindsTheChildThatIsThere) {
    const Ptr<Item> child = record->itemIs(5);
    const Ptr<Group> group = record->groupIs("g");
    EXPECT_EQ(record->itemIs(5), child);
    EXPECT_EQ(record->groupIs("g"), group);
    EXPECT_EQ(record->item().members(), 1u);
    EXPECT_EQ(record->group().members(), 1u);
}

TEST_F(EntityTest, ACreatorNotifiesOnceWithTheKeyWhenItCreates) {
    const auto reactor = watch(record, "a", log);
    record->itemIs(5);
    record->groupIs("g");
    record->itemIs(4);
    EXPECT_EQ(log, logOf({{"a", 261, "5"}, {"a", 264, "g"}, {"a", 261, "4"}}));
}

TEST_F(EntityTest, ACreatorDoesNotNotifyWhenItFinds) {
    record->itemIs(5);
    record->groupIs("g");
    const auto reactor = watch(record, "a", log);
    record->itemIs(5);
    record->groupIs("g");
    EXPECT_EQ(log, Log());
}

TEST_F(EntityTest, ACreatorStoresBeforeItNotifies) {
    const auto reactor = watch(record, "a", log);
    Item const* seen = nullptr;
    Zel::U32 members = 0;
    reactor->scriptIs([&](Recorder<Record>& self, AttributeId, void const* key) {
        seen = self.notifier()->item(*static_cast<ItemId const*>(key)).ptr();
        members = self.notifier()->item().members();
    });
    const Ptr<Item> child = record->itemIs(5);
    EXPECT_EQ(seen, child.ptr());
    EXPECT_EQ(members, 1u);
}

TEST_F(EntityTest, ACreatorReturnsItsChildEvenWhenTheNotificationRemovesIt) {
    const auto reactor = watch(record, "a", log);
    reactor->scriptIs([&](Recorder<Record>& self, AttributeId, void const*) {
        self.scriptIs({});
        record->itemDel(5);
    });
    const Ptr<Item> child = record->itemIs(5);
    ASSERT_TRUE(child);
    EXPECT_EQ(child->id(), ItemId(5));
    EXPECT_EQ(child->references(), 1u);
    EXPECT_EQ(record->item(5), nullptr);
    EXPECT_EQ(log, logOf({{"a", 261, "5"}, {"a", 261, "5"}}));
}

TEST_F(EntityTest, ACreatorThatIsCalledAgainInItsNotificationFinds) {
    const auto reactor = watch(record, "a", log);
    Ptr<Item> inner;
    reactor->scriptIs(
        [&](Recorder<Record>&, AttributeId, void const*) { inner = record->itemIs(5); });
    EXPECT_EQ(record->itemIs(5), inner);
    EXPECT_EQ(log, logOf({{"a", 261, "5"}}));
}

TEST_F(EntityTest, ACreatorChangesNothingWhenMemoryIsExhausted) {
    const Zel::Name name("g");
    for (const bool ordered : {true, false}) {
        const Ptr<Record> fresh(new Record); // its hash map has no buckets yet
        const auto counter = Zel::newActive<Counter>();
        counter->notifierIs(fresh);
        const auto before = Toy::liveObjects();
        std::size_t failures = 0;
        for (bool created = false; !created;) {
            const FailingAllocation exhausted(failures + 1);
            try {
                if (ordered)
                    fresh->itemIs(5);
                else
                    fresh->groupIs(name);
                created = true;
            } catch (std::bad_alloc const&) {
                ++failures;
                EXPECT_EQ(Toy::liveObjects(), before);
                EXPECT_EQ(fresh->item().members() + fresh->group().members(), 0u);
                EXPECT_EQ(fresh->item(5), nullptr);
                EXPECT_EQ(fresh->group(name), nullptr);
                EXPECT_EQ(counter->calls, 0);
            }
        }
        // The child itself, and the buckets of the hash map.
        EXPECT_EQ(failures, ordered ? 1u : 2u);
        EXPECT_EQ(counter->calls, 1);
        EXPECT_EQ(fresh->item().members() + fresh->group().members(), 1u);
    }
}

// Lookups

TEST_F(EntityTest, LookupsNeverCreate) {
    const auto reactor = watch(record, "a", log);
    Record const& constant = *record;
    EXPECT_EQ(record->item(5), nullptr);
    EXPECT_EQ(constant.item(5), nullptr);
    EXPECT_EQ(record->group("g"), nullptr);
    EXPECT_EQ(constant.group("g"), nullptr);
    EXPECT_EQ(record->item().find(5), nullptr);
    EXPECT_EQ(record->item().members(), 0u);
    EXPECT_EQ(record->group().members(), 0u);
    EXPECT_EQ(log, Log());
}

TEST_F(EntityTest, LookupsOfAConstantEntityGiveConstantChildren) {
    Record const& constant = *record;
    static_assert(std::is_same_v<decltype(constant.item(5)), Ptr<Item const>>);
    static_assert(std::is_same_v<decltype(record->item(5)), Ptr<Item>>);
    const Ptr<Item> child = record->itemIs(5);
    EXPECT_EQ(constant.item(5), child);
}

// Deleter

TEST_F(EntityTest, ADeleterRemovesTheChild) {
    record->itemIs(4);
    record->itemIs(5);
    record->groupIs("g");
    record->itemDel(5);
    record->groupDel("g");
    EXPECT_EQ(record->item(5), nullptr);
    EXPECT_NE(record->item(4), nullptr);
    EXPECT_EQ(record->group("g"), nullptr);
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 2u) << "the test's own, and number 4";
    EXPECT_EQ(Group::_zelType.allocations().liveCount(), 0u);
}

TEST_F(EntityTest, ADeleterNotifiesOnceAfterTheRemoval) {
    record->itemIs(5);
    record->groupIs("g");
    const auto reactor = watch(record, "a", log);
    int absent = 0;
    reactor->scriptIs([&](Recorder<Record>& self, AttributeId id, void const* key) {
        absent += id == 261
                      ? self.notifier()->item(*static_cast<ItemId const*>(key)) == nullptr
                      : self.notifier()->group(*static_cast<Zel::Name const*>(key)) == nullptr;
    });
    record->itemDel(5);
    record->groupDel("g");
    EXPECT_EQ(log, logOf({{"a", 261, "5"}, {"a", 264, "g"}}));
    EXPECT_EQ(absent, 2);
}

TEST_F(EntityTest, ADeleterDoesNothingForAnAbsentKey) {
    record->itemIs(4);
    const auto reactor = watch(record, "a", log);
    record->itemDel(5);
    record->groupDel("g");
    EXPECT_EQ(log, Log());
    EXPECT_EQ(record->item().members(), 1u);
}

TEST_F(EntityTest, ADeletedChildThatIsHeldElsewhereLivesOn) {
    const Ptr<Item> child = record->itemIs(5);
    child->countIs(7);
    record->itemDel(5);
    EXPECT_EQ(child->references(), 1u);
    EXPECT_EQ(child->count(), 7u);
    EXPECT_NE(record->itemIs(5), child) << "the key is free for another";
}

TEST_F(EntityTest, ADeleterTakesTheKeyOfTheChildItself) {
    record->itemIs(5);
    record->groupIs("g");
    const auto reactor = watch(record, "a", log);
    record->itemDel(record->item().find(5)->id());
    record->groupDel(record->group().find("g")->name());
    EXPECT_EQ(log, logOf({{"a", 261, "5"}, {"a", 264, "g"}}));
}

TEST_F(EntityTest, AKeyMayBeCreatedAgainInTheNoticeOfItsDeletion) {
    const Ptr<Item> first = record->itemIs(5);
    const auto reactor = watch(record, "a", log);
    Ptr<Item> second;
    reactor->scriptIs([&](Recorder<Record>& self, AttributeId, void const*) {
        self.scriptIs({});
        second = record->itemIs(5);
    });
    record->itemDel(5);
    EXPECT_EQ(record->item(5), second);
    EXPECT_NE(first, second);
    EXPECT_EQ(log, logOf({{"a", 261, "5"}, {"a", 261, "5"}}));
}

// Replacement

TEST_F(EntityTest, AReplacementReturnsTheFormerChildAndNotifiesOnce) {
    const Ptr<Item> former = record->itemIs(5);
    const Ptr<Group> formerGroup = record->groupIs("g");
    const Ptr<Item> other(new Item(5));
    const Ptr<Group> otherGroup(new Group("g"));
    const auto reactor = watch(record, "a", log);
    EXPECT_EQ(record->itemMemberIs(other), former);
    EXPECT_EQ(record->groupMemberIs(otherGroup), formerGroup);
    EXPECT_EQ(record->item(5), other);
    EXPECT_EQ(record->group("g"), otherGroup);
    EXPECT_EQ(former->references(), 1u);
    EXPECT_EQ(other->references(), 2u);
    EXPECT_EQ(log, logOf({{"a", 261, "5"}, {"a", 264, "g"}}));
}

TEST_F(EntityTest, AReplacementIsMadeBeforeItIsNotified) {
    record->itemIs(5);
    const Ptr<Item> other(new Item(5));
    const auto reactor = watch(record, "a", log);
    Item const* seen = nullptr;
    reactor->scriptIs([&](Recorder<Record>& self, AttributeId, void const*) {
        seen = self.notifier()->item(5).ptr();
    });
    record->itemMemberIs(other);
    EXPECT_EQ(seen, other.ptr());
}

TEST_F(EntityTest, AChildCanBePutUnderAFreeKey) {
    const Ptr<Item> child(new Item(5));
    const auto reactor = watch(record, "a", log);
    EXPECT_EQ(record->itemMemberIs(child), nullptr);
    EXPECT_EQ(record->item(5), child);
    EXPECT_EQ(log, logOf({{"a", 261, "5"}}));
}

TEST_F(EntityTest, PuttingTheSameChildAgainChangesNothing) {
    const Ptr<Item> child = record->itemIs(5);
    const auto reactor = watch(record, "a", log);
    EXPECT_EQ(record->itemMemberIs(child), nullptr);
    EXPECT_EQ(record->item(5), child);
    EXPECT_EQ(log, Log());
}

TEST_F(EntityTest, ANullReplacementIsRefusedAndChangesNothing) {
    const Ptr<Item> child = record->itemIs(5);
    const auto reactor = watch(record, "a", log);
    const auto textOfRangeException = [](auto const& action) -> std::string {
        try {
            action();
        } catch (Zel::RangeException const& exception) {
            return exception.what();
        }
        return "no exception";
    };
    EXPECT_EQ(textOfRangeException([&] { record->itemMemberIs(nullptr); }),
              R"(null _item parameter to mutator for Toy::Record::item not allowed")");
    EXPECT_EQ(textOfRangeException([&] { record->groupMemberIs(nullptr); }),
              R"(null _group parameter to mutator for Toy::Record::group not allowed")");
    EXPECT_EQ(record->item(5), child);
    EXPECT_EQ(record->item().members(), 1u);
    EXPECT_EQ(record->group().members(), 0u);
    EXPECT_EQ(log, Log());
}

TEST_F(EntityTest, AReplacementUnderAFreeKeyChangesNothingWhenMemoryIsExhausted) {
    const Ptr<Group> group(new Group("g"));
    {
        const FailingAllocation exhausted(1);
        EXPECT_THROW(record->groupMemberIs(group), std::bad_alloc);
    }
    EXPECT_EQ(record->group("g"), nullptr);
    EXPECT_EQ(group->references(), 1u);
    EXPECT_EQ(record->groupMemberIs(group), nullptr);
    EXPECT_EQ(record->group("g"), group);
}

TEST_F(EntityDeathTest, AChildOfAnotherEntityCannotBePutIn) {
    const Ptr<Record> other(new Record);
    const Ptr<Item> child = other->itemIs(5);
    EXPECT_EXIT(record->itemMemberIs(child), ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq(std::string(
                    "Varnol: fatal: RbTreeMap of Toy::Record: the element is linked already\n")));
}

// Maps of values

TEST_F(EntityTest, AnAbsentValueIsZeroAndIsNotMade) {
    Record const& constant = *record;
    const auto reactor = watch(record, "a", log);
    EXPECT_EQ(constant.tally(5), 0u);
    EXPECT_EQ(record->tally().members(), 0u);
    EXPECT_EQ(log, Log());
}

TEST_F(EntityTest, AValueIsWrittenAndNotifiedWithItsKeyEachTime) {
    const auto reactor = watch(record, "a", log);
    record->tallyIs(5, 7);
    record->tallyIs(5, 7);
    record->tallyIs(4, 0);
    EXPECT_EQ(record->tally(5), 7u);
    EXPECT_EQ(record->tally().members(), 2u) << "a zero is a value too";
    EXPECT_EQ(log, logOf({{"a", 266, "5"}, {"a", 266, "5"}, {"a", 266, "4"}}));
}

TEST_F(EntityTest, AnIncrementAddsAndMakesTheEntryWhereThereIsNone) {
    const auto reactor = watch(record, "a", log);
    record->tallyInc(5, 2);
    EXPECT_EQ(record->tally(5), 2u);
    record->tallyInc(5, 3);
    EXPECT_EQ(record->tally(5), 5u);
    record->tallyInc(5, 0xffffffff);
    EXPECT_EQ(record->tally(5), 4u) << "counts are modulo 2^32";
    EXPECT_EQ(log, Log(3, {"a", 266, "5"}));
}

TEST_F(EntityTest, AValueIsRemovedAndNotifiedOnce) {
    record->tallyIs(5, 7);
    const auto reactor = watch(record, "a", log);
    record->tallyDel(5);
    record->tallyDel(5);
    record->tallyDel(6);
    EXPECT_EQ(record->tally(5), 0u);
    EXPECT_EQ(record->tally().members(), 0u);
    EXPECT_EQ(log, logOf({{"a", 266, "5"}}));
}

TEST_F(EntityTest, AValueIsStoredOrRemovedBeforeItIsNotified) {
    const auto reactor = watch(record, "a", log);
    std::vector<unsigned> seen;
    reactor->scriptIs([&](Recorder<Record>& self, AttributeId, void const* key) {
        seen.push_back(self.notifier()->tally(*static_cast<ItemId const*>(key)));
    });
    record->tallyIs(5, 7);
    record->tallyIs(5, 8);
    record->tallyInc(5, 1);
    record->tallyDel(5);
    EXPECT_EQ(seen, (std::vector<unsigned>{7, 8, 9, 0}));
}

TEST_F(EntityTest, AValueIsNotWrittenWhenMemoryIsExhausted) {
    const auto counter = Zel::newActive<Counter>();
    counter->notifierIs(record);
    std::size_t failures = 0;
    for (bool written = false; !written;) {
        const FailingAllocation exhausted(failures + 1);
        try {
            record->tallyInc(5, 7);
            written = true;
        } catch (std::bad_alloc const&) {
            ++failures;
            EXPECT_EQ(record->tally().members(), 0u);
            EXPECT_EQ(counter->calls, 0);
        }
    }
    EXPECT_EQ(failures, 2u) << "the entry, and the buckets";
    EXPECT_EQ(record->tally(5), 7u);
    EXPECT_EQ(counter->calls, 1);
}

TEST_F(EntityTest, TheEntityMayDieInTheNotificationOfAValue) {
    for (const bool write : {true, false}) {
        auto dying = Ptr(new Record);
        dying->tallyIs(5, 7);
        auto reactor = watch(dying, "a", log);
        reactor->scriptIs([&](Recorder<Record>&, AttributeId, void const* key) {
            dying = nullptr;
            reactor = nullptr;
            EXPECT_EQ(*static_cast<ItemId const*>(key), ItemId(5));
        });
        Record* const raw = dying.ptr();
        write ? raw->tallyInc(5, 1) : raw->tallyDel(5);
        EXPECT_EQ(dying, nullptr);
        EXPECT_EQ(Record::_zelType.allocations().liveCount(), 1u);
    }
}

// Copies

TEST_F(EntityTest, CopyingTheScalarsWritesAndNotifiesThemAllAndNothingElse) {
    setAll(*item);
    const Ptr<Item> copy(new Item(9));
    const auto reactor = watch(copy, "a", log);
    Zel::copyScalars(std::as_const(item).ptr(), *copy);
    Log expected;
    for (const AttributeId id : scalarIds)
        expected.push_back({"a", id, "-"});
    EXPECT_EQ(std::exchange(log, {}), expected);
    EXPECT_EQ(copy->id(), ItemId(9));
    EXPECT_EQ(copy->label(), "label");
    EXPECT_EQ(copy->digest(), (Digest{{7}}));
    EXPECT_EQ(copy->age(), 9.5);

    Zel::copyScalars<Item>(nullptr, *copy);
    EXPECT_EQ(std::exchange(log, {}), expected);
    EXPECT_EQ(copy->id(), ItemId(9));
    EXPECT_TRUE(copy->label().empty());
    EXPECT_EQ(copy->digest(), Digest());
    EXPECT_EQ(copy->age(), 0.0);

    const Ptr<Record> to(new Record);
    record->itemIs(1);
    record->groupIs("g");
    record->tallyIs(1, 2);
    record->revisionIs(3);
    to->itemIs(4);
    Zel::copyScalars<Record>(record.ptr(), *to);
    EXPECT_EQ(to->revision(), 3u);
    EXPECT_EQ(to->item().members(), 1u);
    EXPECT_NE(to->item(4), nullptr);
    EXPECT_EQ(to->group().members(), 0u);
    EXPECT_EQ(to->tally().members(), 0u);
}

// The end

TEST_F(EntityTest, ChildrenAreReleasedWithTheirParent) {
    const Ptr<Item> kept = record->itemIs(1);
    record->itemIs(2);
    record->groupIs("g")->itemIs(3);
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 4u);
    record = nullptr;
    EXPECT_EQ(Item::_zelType.allocations().liveCount(), 2u) << "the test's own, and the one kept";
    EXPECT_EQ(Group::_zelType.allocations().liveCount(), 0u);
    EXPECT_EQ(kept->references(), 1u);
    EXPECT_EQ(kept->id(), ItemId(1));
}

/// What is done to a record whose last references go in the notification.
enum class Change { create, remove, replace };

class EntityDiesInNotification : public EntityTest,
                                 public ::testing::WithParamInterface<std::pair<Change, bool>> {};

TEST_P(EntityDiesInNotification, TheKeyStaysValid) {
    const auto [change, ordered] = GetParam();
    const Zel::Name name("a name that no short buffer holds");
    auto dying = Ptr(new Record);
    Ptr<Item> other(new Item(5));
    Ptr<Group> otherGroup(new Group(name));
    if (change != Change::create) {
        dying->itemIs(5);
        dying->groupIs(name);
    }
    auto reactor = watch(dying, "a", log);
    std::string key;
    reactor->scriptIs([&](Recorder<Record>&, AttributeId id, void const* keyPointer) {
        dying = nullptr;
        reactor = nullptr;
        other = nullptr;
        otherGroup = nullptr;
        EXPECT_EQ(Record::_zelType.allocations().liveCount(), 1u) << "the one of all tests";
        key = id == 261 ? textOf(*static_cast<ItemId const*>(keyPointer))
                        : textOf(*static_cast<Zel::Name const*>(keyPointer));
    });

    Record* const raw = dying.ptr();
    switch (change) {
    case Change::create:
        if (ordered) {
            EXPECT_EQ(raw->itemIs(5)->id(), ItemId(5));
        } else {
            EXPECT_EQ(raw->groupIs(name)->name(), name);
        }
        break;
    case Change::remove:
        ordered ? raw->itemDel(5) : raw->groupDel(name);
        break;
    case Change::replace:
        if (ordered) {
            EXPECT_EQ(raw->itemMemberIs(other)->references(), 1u);
        } else {
            EXPECT_EQ(raw->groupMemberIs(otherGroup)->references(), 1u);
        }
        break;
    }
    EXPECT_EQ(dying, nullptr);
    EXPECT_EQ(key, ordered ? "5" : textOf(name));
    EXPECT_EQ(log.size(), 1u);
}

std::string changeName(::testing::TestParamInfo<std::pair<Change, bool>> const& info) {
    const char* const names[] = {"Creation", "Removal", "Replacement"};
    return std::string(names[static_cast<int>(info.param.first)]) +
           (info.param.second ? "InAnOrderedCollection" : "InAHashedCollection");
}
INSTANTIATE_TEST_SUITE_P(Entity, EntityDiesInNotification,
                         ::testing::ValuesIn(std::vector<std::pair<Change, bool>>{
                             {Change::create, true},
                             {Change::create, false},
                             {Change::remove, true},
                             {Change::remove, false},
                             {Change::replace, true},
                             {Change::replace, false},
                         }),
                         changeName);

// Exceptions

TEST_F(EntityTest, WhatAReactorThrowsLeavesTheMutatorAfterTheStore) {
    const auto reactor = watch(record, "a", log);
    reactor->scriptIs(
        [](Recorder<Record>&, AttributeId, void const*) { throw std::runtime_error("refused"); });
    EXPECT_THROW(record->revisionIs(3), std::runtime_error);
    EXPECT_EQ(record->revision(), 3u);
    EXPECT_THROW(record->titleIs("title"), std::runtime_error);
    EXPECT_EQ(record->title(), "title");
    EXPECT_THROW(record->itemIs(5), std::runtime_error);
    const Ptr<Item> created = record->item(5);
    ASSERT_TRUE(created);
    const Ptr<Item> other(new Item(5));
    EXPECT_THROW(record->itemMemberIs(other), std::runtime_error);
    EXPECT_EQ(record->item(5), other);
    EXPECT_EQ(created->references(), 1u);
    EXPECT_THROW(record->itemDel(5), std::runtime_error);
    EXPECT_EQ(record->item(5), nullptr);
    EXPECT_EQ(other->references(), 1u);
    EXPECT_EQ(log.size(), 5u);
}

} // namespace
