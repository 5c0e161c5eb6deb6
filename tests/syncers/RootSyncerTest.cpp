#include "framework/zel/RootSyncer.h"

#include "framework/zel/NotifieeList.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Watcher.h"
#include "tests/model/Samples.h"

#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// What the root syncers have in common.

namespace Varnol {
namespace {

using Samples::et1;
using Samples::et2;

/// What a syncer's sources are: each has one element.
template <class Entity, class ElementAttribute> struct Sources {
    using Source = Entity;
    using Elements = ElementAttribute;
    using Key = typename Elements::Key;
};

/// What a root syncer is tried with: its destination, and of its sources what they are made of.
template <class Syncer> struct Trial;

struct RecordSources : Sources<IntxInfo, IntxInfo::mstiNAttribute> {
    static constexpr Zel::U16 key = 3;
    static constexpr Zel::U16 otherKey = 5;
    static IntxInfo::Ptr empty() { return Samples::record(100); }
    static void change(IntxInfo& source) { source.stpVersionIs(2); }
};

template <> struct Trial<IntxInfoSyncer> : RecordSources {
    IntxInfo::Ptr dest = Samples::record(100);
    auto make(IntxInfo::Ptr const& source) { return intxInfoSyncerFactory(source, dest, 100, ""); }
    /// Where the scalars of the source are written.
    Zel::Ptr<Zel::PtrInterface> written() { return dest; }
};

template <> struct Trial<IntxInfoChangeSm> : RecordSources {
    static auto make(IntxInfo::Ptr const& source) { return intxInfoChangeSmFactory(source, 100); }
};

struct TransmitSources : Sources<TxStatus, TxStatus::txMstStatusAttribute> {
    static constexpr const char* key = "mst1";
    static constexpr const char* otherKey = "mst2";
    static TxStatus::Ptr empty() { return TxStatus::Ptr(new TxStatus); }
    static void change(TxStatus& source) { source.heartbeatTimeoutIs(2); }
};

template <> struct Trial<TxStatusToTxSyncer> : TransmitSources {
    TxStatus::Ptr dest{new TxStatus};
    auto make(TxStatus::Ptr const& source) { return txStatusToTxSyncerFactory(source, dest); }
    Zel::Ptr<Zel::PtrInterface> written() { return dest; }
};

template <> struct Trial<TxStatusToRxSyncer> : TransmitSources {
    RxStatus::Ptr dest{new RxStatus};
    auto make(TxStatus::Ptr const& source) { return txStatusToRxSyncerFactory(source, dest); }
};

struct WithDynamicTree {
    RxStatus::Ptr dest{new RxStatus};
    RxMstPortStatus::Ptr port = dest->rxMstStatusIs("mst1")->rxMstPortStatusIs(et1);
};

template <>
struct Trial<RxStatusToRxDynamicSyncer> : WithDynamicTree,
                                          Sources<RxStatus, RxStatus::rxMstStatusAttribute> {
    static constexpr const char* key = "mst1";
    static RxStatus::Ptr empty() { return RxStatus::Ptr(new RxStatus); }
    static void change(RxStatus& source) { source.localHeartbeatIs(2); }
    auto make(RxStatus::Ptr const& source) {
        return rxStatusToRxDynamicSyncerFactory(source, dest);
    }
    Zel::Ptr<Zel::PtrInterface> written() { return dest; }
};

template <>
struct Trial<RxMstStatusToRxDynamicSyncer>
    : WithDynamicTree, Sources<RxMstStatus, RxMstStatus::rxMstPortStatusAttribute> {
    static constexpr Kolvu::IntfId key = et1;
    static RxMstStatus::Ptr empty() { return RxMstStatus::Ptr(new RxMstStatus("mst1")); }
    static void change(RxMstStatus& source) { source.rxMstPortStatusIs(et2); }
    auto make(RxMstStatus::Ptr const& source) {
        return rxMstStatusToRxDynamicSyncerFactory(Zel::Name("mst1"), source, dest);
    }
};

template <>
struct Trial<RxMstPortStatusToRxDynamicSyncer>
    : WithDynamicTree, Sources<RxMstPortStatus, RxMstPortStatus::rxInfoAttribute> {
    static constexpr Zel::U16 key = 100;
    static RxMstPortStatus::Ptr empty() { return RxMstPortStatus::Ptr(new RxMstPortStatus(et1)); }
    static void change(RxMstPortStatus& source) { source.bpduCountIs(2); }
    auto make(RxMstPortStatus::Ptr const& source) {
        return rxMstPortStatusToRxDynamicSyncerFactory(Zel::Name("mst1"), et1, source, dest);
    }
    Zel::Ptr<Zel::PtrInterface> written() { return port; }
};

/// A syncer on a source, and further sources.
template <class Syncer> class RootSyncerTest : public testing::Test {
    const NoObjectLeft atEnd_{}; // when the other members are gone

  protected:
    using T = Trial<Syncer>;
    using Source = typename T::Source;
    using Elements = typename T::Elements;
    using Key = typename T::Key;

    static Zel::Ptr<Source> sourceWith(Key const& key) {
        const Zel::Ptr<Source> made = T::empty();
        Elements::create(*made, key);
        return made;
    }
    /// How many reactors take notice of a change of the source.
    static Zel::U64 noticed(Source& source) {
        const Zel::U64 before = Zel::notificationsDelivered();
        T::change(source);
        return Zel::notificationsDelivered() - before;
    }
    /// Tells the reactors on the source of the element, as when it is added.
    void tell() const { source->notify(Elements::id, &key); }
    /// Tells the reactor, wherever it is bound.
    void tellReactor() const { reactor->onAttribute(Elements::id, &key); }
    void elementDel() const { Elements::del(*source, key); }

    /// Ends the syncer.
    /// @param action  done when its reactor on the source has ended, and not yet all of it
    /// @return whether that came to pass
    bool endsDoingAsItsReactorGoes(std::function<void()> const& action) {
        reactor = nullptr;
        bool ended = false;
        std::list<AtDeallocation> looks; // at each deallocation, up to that of the reactor
        const std::function<void()> look = [&] {
            if (!source->notifieeList()->empty()) {
                looks.emplace_back([&look] { look(); });
                return;
            }
            ended = true;
            action();
        };
        looks.emplace_back([&look] { look(); });
        syncer = nullptr;
        return ended;
    }

    const Key key{T::key};
    T trial;
    const Zel::Ptr<Source> source = sourceWith(key);
    const Zel::Ptr<Source> another = sourceWith(key);
    typename Syncer::Ptr syncer = trial.make(source);
    Zel::Ptr<typename Syncer::ZelSource> reactor = syncer->zelSource();
};

/// The reactor hears nothing any more, and belongs to nobody.
template <class Reactor> void expectRetired(Reactor& reactor) {
    EXPECT_EQ(reactor.owner(), nullptr);
    EXPECT_TRUE(reactor.zelMarkedForDeletion());
    EXPECT_FALSE(reactor.hasNotificationActive());
}

using RootSyncers = testing::Types<IntxInfoSyncer, IntxInfoChangeSm, TxStatusToTxSyncer,
                                   TxStatusToRxSyncer, RxStatusToRxDynamicSyncer,
                                   RxMstStatusToRxDynamicSyncer, RxMstPortStatusToRxDynamicSyncer>;
TYPED_TEST_SUITE(RootSyncerTest, RootSyncers);

TYPED_TEST(RootSyncerTest, TheReactorOnARemovedSourceIsAZombieWithoutAnOwner) {
    EXPECT_EQ(this->reactor->owner(), this->syncer.ptr());
    EXPECT_EQ(this->noticed(*this->source), 1U);
    this->syncer->sourceDel();
    EXPECT_EQ(this->syncer->zelSource(), nullptr);
    expectRetired(*this->reactor);
    EXPECT_EQ(this->reactor->watched(), this->source.ptr());
    EXPECT_EQ(this->noticed(*this->source), 0U);
}

// ---- with child reactors or syncers ----

template <class Syncer> using SyncerWithChildren = RootSyncerTest<Syncer>;
using SyncersWithChildren =
    testing::Types<IntxInfoSyncer, IntxInfoChangeSm, TxStatusToTxSyncer, TxStatusToRxSyncer,
                   RxStatusToRxDynamicSyncer, RxMstStatusToRxDynamicSyncer>;
TYPED_TEST_SUITE(SyncerWithChildren, SyncersWithChildren);

TYPED_TEST(SyncerWithChildren, LetsGoOfItsChildrenBeforeTheReactorOnItsSourceEnds) {
    const Zel::Ptr child(this->syncer->children().find(this->key));
    ASSERT_NE(child, nullptr);
    ASSERT_EQ(child->references(), 2U);
    EXPECT_TRUE(this->endsDoingAsItsReactorGoes([&] {
        EXPECT_EQ(child->references(), 1U);
        EXPECT_FALSE(child->hasNotificationActive());
    }));
}

// ---- with a destination ----

template <class Syncer> using SyncerWithDestination = RootSyncerTest<Syncer>;
using SyncersWithDestination =
    testing::Types<IntxInfoSyncer, TxStatusToTxSyncer, TxStatusToRxSyncer,
                   RxStatusToRxDynamicSyncer, RxMstStatusToRxDynamicSyncer,
                   RxMstPortStatusToRxDynamicSyncer>;
TYPED_TEST_SUITE(SyncerWithDestination, SyncersWithDestination);

TYPED_TEST(SyncerWithDestination, LetsGoOfTheReactorOnItsSourceBeforeItsDestination) {
    Zel::U32 held = 0;
    EXPECT_TRUE(this->endsDoingAsItsReactorGoes([&] { held = this->trial.dest->references(); }));
    EXPECT_GT(held, this->trial.dest->references());
}

// ---- whose reactor on the source is replaced ----

template <class Syncer> using ReplacingSyncer = RootSyncerTest<Syncer>;
using ReplacingSyncers = testing::Types<RxStatusToRxDynamicSyncer, RxMstStatusToRxDynamicSyncer,
                                        RxMstPortStatusToRxDynamicSyncer>;
TYPED_TEST_SUITE(ReplacingSyncer, ReplacingSyncers);

TYPED_TEST(ReplacingSyncer, GivenAnotherSourceLeavesTheFormerReactorAZombieWithoutAnOwner) {
    const auto next = this->trial.empty();
    this->syncer->sourceIs(next);
    EXPECT_EQ(this->syncer->source(), next);
    EXPECT_NE(this->syncer->zelSource(), this->reactor);
    expectRetired(*this->reactor);
    EXPECT_EQ(this->noticed(*this->source), 0U);
    EXPECT_GT(this->noticed(*next), 0U);
}

// ---- that copy scalars of another source ----

/// The reactor on the source is bound directly: sourceIs() of some of the syncers replaces it.
template <class Syncer> class CopyingSyncer : public RootSyncerTest<Syncer> {
  protected:
    /// Counts the scalars that are written, and does what is to be done within each.
    unsigned writes = 0;
    std::function<void()> within;
    const Watcher::Ptr watcher =
        watch(this->trial.written(), [this](Zel::AttributeId, void const*) {
            ++writes;
            if (within)
                within();
        });
    /// How many scalars binding it to that source writes.
    unsigned writesOfBindingTo(Zel::Ptr<typename CopyingSyncer::Source> const& to) {
        writes = 0;
        this->reactor->notifierIs(to);
        return writes;
    }
};
using CopyingSyncers = testing::Types<IntxInfoSyncer, TxStatusToTxSyncer, RxStatusToRxDynamicSyncer,
                                      RxMstPortStatusToRxDynamicSyncer>;
TYPED_TEST_SUITE(CopyingSyncer, CopyingSyncers);

TYPED_TEST(CopyingSyncer, ABindingThatEndedWithAnExceptionIsMadeGoodOnce) {
    this->within = [] { throw std::runtime_error("refused"); };
    EXPECT_THROW(this->reactor->notifierIs(this->another), std::runtime_error);
    this->within = {};
    EXPECT_GT(this->writesOfBindingTo(this->another), 0U);
    EXPECT_EQ(this->writesOfBindingTo(this->another), 0U);
}

TYPED_TEST(CopyingSyncer, ABindingThatIsMadeGoodKeepsItsPlaceAmongThoseOfTheSource) {
    this->within = [] { throw std::runtime_error("refused"); };
    EXPECT_THROW(this->reactor->notifierIs(this->another), std::runtime_error);
    std::vector<std::string> order;
    const auto later = watch(
        this->another, [&](Zel::AttributeId, void const*) { order.emplace_back("later reactor"); });
    this->within = {};
    this->reactor->notifierIs(this->another);
    this->within = [&] { order.emplace_back("syncer"); };
    this->trial.change(*this->another);
    EXPECT_EQ(order, (std::vector<std::string>{"syncer", "later reactor"}));
}

TYPED_TEST(CopyingSyncer, AReactorTakenOutOfTheListWhileItIsBoundIsInItAfterwards) {
    this->within = [&] {
        this->reactor->isRegisteredNotifieeIs(false);
        EXPECT_FALSE(this->reactor->isRegisteredNotifiee());
    };
    EXPECT_GT(this->writesOfBindingTo(this->another), 0U);
    this->within = {};
    EXPECT_TRUE(this->reactor->isRegisteredNotifiee());
    this->writes = 0;
    this->trial.change(*this->another);
    EXPECT_EQ(this->writes, 1U);
}

template <class Syncer> using SyncerOfSeveralScalars = CopyingSyncer<Syncer>;
using SyncersOfSeveralScalars =
    testing::Types<IntxInfoSyncer, RxStatusToRxDynamicSyncer, RxMstPortStatusToRxDynamicSyncer>;
TYPED_TEST_SUITE(SyncerOfSeveralScalars, SyncersOfSeveralScalars);

TYPED_TEST(SyncerOfSeveralScalars, BoundAnewByItsFirstWriteWritesNoMoreForTheFormerSource) {
    const unsigned all = this->writesOfBindingTo(this->another);
    ASSERT_GT(all, 1U);
    const auto third = this->sourceWith(this->key);
    this->within = [&] {
        if (this->writes == 1)
            this->reactor->notifierIs(third);
    };
    EXPECT_EQ(this->writesOfBindingTo(this->source), 1 + all);
    EXPECT_EQ(this->reactor->watched(), third.ptr());
}

// ---- with a reactor for each element of the source ----

/// The one child is to be made anew; what happens meanwhile is done within its allocation.
template <class Syncer> class SyncerOfElements : public RootSyncerTest<Syncer> {
  protected:
    using Key = typename SyncerOfElements::Key;

    auto* child() { return this->syncer->children().find(this->key); }
    void childDel() { this->syncer->children().del(this->key); }
    /// The children's keys, in their order.
    std::vector<Key> keys() {
        std::vector<Key> found;
        for (auto const& each : std::as_const(this->syncer->children()).map())
            found.push_back(each->fwkKey());
        return found;
    }
    /// Removes the child, and does something that makes it anew.
    /// @param meanwhile  done while it is made
    void makingAnew(std::function<void()> const& making, std::function<void()> const& meanwhile) {
        childDel();
        bool happened = false;
        const AtAllocation disturbing([&] {
            happened = true;
            EXPECT_EQ(child(), nullptr);
            meanwhile();
        });
        making();
        EXPECT_TRUE(happened);
    }

    const Key otherKey{SyncerOfElements::T::otherKey};
    const Zel::Ptr<typename SyncerOfElements::Source> third = this->sourceWith(otherKey);
};
using SyncersOfElements =
    testing::Types<IntxInfoSyncer, IntxInfoChangeSm, TxStatusToTxSyncer, TxStatusToRxSyncer>;
TYPED_TEST_SUITE(SyncerOfElements, SyncersOfElements);

TYPED_TEST(SyncerOfElements, UnboundWhileABindingMakesAChildKeepsTheChild) {
    this->makingAnew([&] { this->syncer->sourceIs(this->another); },
                     [&] { this->syncer->sourceIs(nullptr); });
    EXPECT_EQ(this->syncer->source(), nullptr);
    EXPECT_EQ(this->syncer->zelSource(), this->reactor);
    EXPECT_EQ(this->keys(), std::vector{this->key});
}

TYPED_TEST(SyncerOfElements, BoundAnewWhileABindingMakesAChildHasTheChildrenOfTheLatest) {
    this->makingAnew([&] { this->syncer->sourceIs(this->another); },
                     [&] { this->syncer->sourceIs(this->third); });
    EXPECT_EQ(this->syncer->source(), this->third);
    EXPECT_EQ(this->keys(), std::vector{this->otherKey});
}

TYPED_TEST(SyncerOfElements, ItsReactorRetiredAndBoundAnewWhileABindingMakesAChildMakesNoMore) {
    this->makingAnew([&] { this->syncer->sourceIs(this->another); },
                     [&] {
                         this->syncer->sourceDel();
                         this->reactor->notifierIs(this->third);
                     });
    expectRetired(*this->reactor);
    EXPECT_EQ(this->reactor->watched(), this->third.ptr());
    EXPECT_EQ(this->keys(), std::vector{this->key});
}

TYPED_TEST(SyncerOfElements, UnboundWhileANoticeMakesAChildKeepsTheChild) {
    this->makingAnew([&] { this->tell(); }, [&] { this->syncer->sourceIs(nullptr); });
    EXPECT_EQ(this->syncer->source(), nullptr);
    EXPECT_EQ(this->keys(), std::vector{this->key});
}

TYPED_TEST(SyncerOfElements, WhoseElementGoesWhileANoticeMakesItsChildHasNone) {
    this->makingAnew([&] { this->tell(); }, [&] { this->elementDel(); });
    EXPECT_EQ(this->child(), nullptr);
}

TYPED_TEST(SyncerOfElements, ItsReactorRetiredWhileANoticeMakesAChildLeavesTheChild) {
    this->makingAnew([&] { this->tell(); },
                     [&] {
                         this->syncer->sourceDel();
                         this->elementDel();
                     });
    expectRetired(*this->reactor);
    EXPECT_EQ(this->keys(), std::vector{this->key});
}

TYPED_TEST(SyncerOfElements, ItsReactorToldOfAnElementWhileUnboundLeavesTheChild) {
    const Zel::Ptr before(this->child());
    this->syncer->sourceIs(nullptr);
    this->tellReactor();
    EXPECT_EQ(this->child(), before.ptr());
    EXPECT_EQ(before->owner(), this->syncer.ptr());
}

TYPED_TEST(SyncerOfElements, ItsRetiredReactorToldOfAnElementMakesNoChild) {
    this->childDel();
    this->syncer->sourceDel();
    this->tellReactor();
    EXPECT_EQ(this->child(), nullptr);
}

} // namespace
} // namespace Varnol
