#include "syncers/RxStatusToRxDynamicSyncer.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Strep.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TimedBlocks.h"
#include "tests/framework/TraceNotes.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"

#include <algorithm>
#include <new>
#include <set>
#include <type_traits>

namespace Varnol {
namespace {

using Samples::et;
using Samples::fill;
using TreeText::contents;
using TreeText::Lines;
using TreeText::scalars;
using Root = RxStatusToRxDynamicSyncer;
using Mst = RxMstStatusToRxDynamicSyncer;
using Port = RxMstPortStatusToRxDynamicSyncer;

static_assert(
    std::is_same_v<decltype(&rxStatusToRxDynamicSyncerFactory),
                   Zel::Ptr<Root> (*)(Zel::Ptr<RxStatus const> const&, Zel::Ptr<RxStatus> const&)>);
static_assert(std::is_same_v<decltype(&Root::RxStatusToRxDynamicSyncerIs),
                             decltype(&rxStatusToRxDynamicSyncerFactory)>);
static_assert(std::is_same_v<decltype(&rxMstStatusToRxDynamicSyncerFactory),
                             Zel::Ptr<Mst> (*)(Zel::Name, Zel::Ptr<RxMstStatus const> const&,
                                               Zel::Ptr<RxStatus> const&)>);
static_assert(std::is_same_v<decltype(&Mst::RxMstStatusToRxDynamicSyncerIs),
                             decltype(&rxMstStatusToRxDynamicSyncerFactory)>);

constexpr std::string_view traceName = "StpRxStatusSyncer";

const Lines scalarNames{"localHeartbeat", "peerHeartbeat", "updateCtrTime", "localUpdateCtrTime",
                        "peerUpdateCtrTime"};

std::string rootLine(std::string const& handler, std::string const& message = "") {
    return "8 " + handler + ": RxStatusToRxDynamicSyncer::" + handler + "() " + message;
}
std::string mstLine(std::string const& name, std::string const& handler,
                    std::string const& message = "") {
    return "8 " + handler + ": RxMstStatusToRxDynamicSyncer[" + name + "]::" + handler + "() " +
           message;
}
std::string portLine(std::string const& key, unsigned level, std::string const& message = "") {
    const std::string number = std::to_string(level);
    return number + " handleInitialized: RxMstPortStatusToRxDynamicSyncer[" + key +
           "]::handleInitialized() " + message;
}

/// What an exception says of a parameter with another value.
std::string inUse(std::string const& parameter, Zel::String const& value,
                  Zel::String const& current) {
    return "Reinstantiating the pointer interface where constructor parameter attribute _" +
           parameter + " has a different value of " + std::string(value.view()) +
           " than the current value of " + std::string(current.view()) + " not allowed";
}
template <class E> Zel::String strep(Zel::Ptr<E> const& entity) {
    return Zel::valueToStrepOfRawPtr(entity.ptr(), typeid(E));
}

class RxStatusSyncer : public NothingLeft {
  protected:
    void start() { root = rxStatusToRxDynamicSyncerFactory(source, dynamic); }
    /// An MST name of the source with these ports, each of which the destination has, too.
    RxMstStatus::Ptr add(std::string_view name, std::initializer_list<Zel::U16> ports = {}) {
        const RxMstStatus::Ptr mst = source->rxMstStatusIs(name);
        for (Zel::U16 port : ports) {
            fill(*mst->rxMstPortStatusIs(et(port)), port);
            dynamic->rxMstStatusIs(name)->rxMstPortStatusIs(et(port));
        }
        return mst;
    }
    RxMstPortStatus::Ptr destPort(Zel::U16 port = 1) {
        return dynamic->rxMstStatus("mst1")->rxMstPortStatus(et(port));
    }
    static std::set<std::string> names(Zel::Ptr<Root> const& of) {
        std::set<std::string> names;
        for (Zel::Ptr<Mst> const& child : of->children())
            names.insert(TreeText::text(child->mstName()));
        return names;
    }
    static std::set<std::string> ports(Zel::Ptr<Mst> const& of) {
        std::set<std::string> ports;
        for (Zel::Ptr<Port> const& child : of->children())
            ports.insert(TreeText::text(child->intfId()));
        return ports;
    }
    /// Each child follows the element of its key, and each element has its child.
    void expectStandsAsItsSource() {
        ASSERT_NE(root->source(), nullptr);
        EXPECT_TRUE(root->children().map().check());
        EXPECT_EQ(root->children().map().members(), root->source()->rxMstStatus().members());
        for (Zel::Ptr<Mst> const& mst : root->children()) {
            const auto element = root->source()->rxMstStatus(mst->mstName());
            EXPECT_EQ(mst->source(), element) << TreeText::text(mst->mstName());
            if (!element)
                continue;
            EXPECT_TRUE(mst->hasNotificationActive());
            EXPECT_FALSE(mst->zelMarkedForDeletion());
            EXPECT_TRUE(mst->initialized());
            EXPECT_TRUE(mst->children().map().check());
            EXPECT_EQ(mst->children().map().members(), element->rxMstPortStatus().members());
            for (Zel::Ptr<Port> const& port : mst->children()) {
                EXPECT_EQ(port->source(), element->rxMstPortStatus(port->intfId()));
                EXPECT_TRUE(port->hasNotificationActive());
                EXPECT_FALSE(port->zelMarkedForDeletion());
                EXPECT_EQ(port->mstName(), mst->mstName());
                EXPECT_EQ(port->rxStatus(), dynamic);
            }
        }
    }
    Zel::U64 live(Zel::TypeNode const& type) const { return type.allocations().liveCount(); }

    RxStatus::Ptr dynamic{new RxStatus};
    RxStatus::Ptr source{new RxStatus};
    RxStatus::Ptr other{new RxStatus};
    Journal journal{Journal::names};
    Zel::Ptr<Root> root;
};
using RxStatusSyncerDeathTest = RxStatusSyncer;
WITH_BOTH_WAYS_OF_COUNTING(RxStatusSyncer);
INSTANTIATE_TEST_SUITE_P(DeathTests, RxStatusSyncerDeathTest, ::testing::Values(false),
                         nameOfCounting);

// Construction of the root

TEST_P(RxStatusSyncer, TheFactoryReturnsTheOnlyReferenceToAnActiveRootThatIsComplete) {
    add("mst1", {1, 2});
    start();
    EXPECT_EQ(root->references(), 1U);
    EXPECT_TRUE(root->hasNotificationActive());
    EXPECT_TRUE(root->initialized());
    EXPECT_EQ(root->source(), source);
    EXPECT_EQ(root->rxStatus(), dynamic);
    EXPECT_EQ(root->keyInfo(), "");
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->keyInfo(), "[mst1]");
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->fwkKey(), "mst1");
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->rxStatus(), dynamic) << "the root, not the MST name";
    EXPECT_EQ(root->mstDynSyncerSm("mst2"), nullptr);
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->mstDynPortSm(et(3)), nullptr);
    expectStandsAsItsSource();
    EXPECT_EQ(source->notifieeList()->members(), 1U);
}

TEST_P(RxStatusSyncer, TheTypesAreRegisteredUnderTheirQualifiedNames) {
    EXPECT_EQ(Zel::typeNode("Varnol::RxStatusToRxDynamicSyncer"), &Root::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::RxStatusToRxDynamicSyncer::ZelSource"),
              &Root::ZelSource::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::RxMstStatusToRxDynamicSyncer"), &Mst::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::RxMstStatusToRxDynamicSyncer::ZelSource"),
              &Mst::ZelSource::_zelType);
}

TEST_P(RxStatusSyncer, ConstructionCopiesTheScalarsInOrderAndThenBuildsTheTreeWithTheseTraces) {
    add("mst1", {1});
    fill(*source, 0);
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    start();
    Lines expected = scalarNames;
    for (std::string const& text :
         {rootLine("handleInitialized"), rootLine("handleMstStatus", "scanning list"),
          rootLine("handleMstStatus", "creating mst1"), mstLine("mst1", "handleInitialized"),
          mstLine("mst1", "handleMstPortStatus", "scanning list"),
          mstLine("mst1", "handleMstPortStatus", "creating intf=Ethernet1"),
          portLine("mst1|Et1", 8)})
        expected.push_back(text);
    EXPECT_EQ(journal.take(), expected);
    EXPECT_EQ(contents(dynamic), contents(source));
}

TEST_P(RxStatusSyncer, ARootOnANullSourceHasNoChildrenAndCopiesZeros) {
    fill(*dynamic, 7);
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    root = rxStatusToRxDynamicSyncerFactory(nullptr, dynamic);
    Lines expected = scalarNames;
    expected.push_back(rootLine("handleInitialized"));
    expected.push_back(rootLine("handleMstStatus", "scanning list"));
    EXPECT_EQ(journal.take(), expected);
    EXPECT_EQ(contents(dynamic), contents(source)) << "which is empty";
    EXPECT_EQ(root->children().map().members(), 0U);
    EXPECT_EQ(root->source(), nullptr);
    EXPECT_TRUE(root->initialized());
    EXPECT_EQ(live(Root::ZelSource::_zelType), 0U);
    root->handleMstStatus("mst1");
    EXPECT_EQ(journal.take(), Lines{rootLine("handleMstStatus", "deleting mst1")})
        << "a null source counts as absent";
}

TEST_P(RxStatusSyncer, ARootWithoutADestinationFollowsNamesThatHaveNoInterfaces) {
    fill(*source, 7);
    add("mst1");
    root = rxStatusToRxDynamicSyncerFactory(source, nullptr);
    source->localHeartbeatIs(8);
    source->updateCtrTimeIs(9);
    add("mst2");
    source->rxMstStatusDel("mst1");
    EXPECT_EQ(names(root), std::set<std::string>{"mst2"});
    EXPECT_EQ(root->rxStatus(), nullptr);
    EXPECT_EQ(root->mstDynSyncerSm("mst2")->rxStatus(), nullptr);
    root->sourceIs(other);
    EXPECT_TRUE(root->initialized());
    const auto both = rxStatusToRxDynamicSyncerFactory(nullptr, nullptr);
    EXPECT_TRUE(both->initialized());
}

TEST_P(RxStatusSyncerDeathTest, AnInterfaceWithoutADestinationRootIsAnAssertion) {
    source->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    EXPECT_DEATH(rxStatusToRxDynamicSyncerFactory(source, nullptr), "Assertion `rxStatus' failed");
    EXPECT_DEATH(rxMstStatusToRxDynamicSyncerFactory("mst1", source->rxMstStatus("mst1"), nullptr),
                 "Assertion `rxStatus' failed");
    source->rxMstStatus("mst1")->rxMstPortStatusDel(et(1));
    root = rxStatusToRxDynamicSyncerFactory(source, nullptr);
    EXPECT_DEATH(source->rxMstStatus("mst1")->rxMstPortStatusIs(et(1)),
                 "Assertion `rxStatus' failed");
}

TEST_P(RxStatusSyncer, ADestinationThatLacksNamesAndInterfacesIsNoError) {
    source->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    const TraceNotes tracing(traceName, journal.lines);
    start();
    EXPECT_EQ(
        journal.take(),
        (Lines{rootLine("handleInitialized"), rootLine("handleMstStatus", "scanning list"),
               rootLine("handleMstStatus", "creating mst1"), mstLine("mst1", "handleInitialized"),
               mstLine("mst1", "handleMstPortStatus", "scanning list"),
               mstLine("mst1", "handleMstPortStatus", "creating intf=Ethernet1"),
               portLine("mst1|Et1", 8), portLine("mst1|Et1", 7, "no destination")}));
    EXPECT_EQ(dynamic->rxMstStatus().members(), 0U);
    expectStandsAsItsSource();
}

TEST_P(RxStatusSyncer, AnotherHandleInitializedTracesAndDoesNothingElse) {
    add("mst1", {1});
    start();
    root->hasNotificationActiveIs(false);
    add("mst2", {1});
    source->rxMstStatus("mst1")->rxMstPortStatusIs(et(2));
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    root->handleInitialized();
    EXPECT_EQ(journal.take(), Lines{rootLine("handleInitialized")});
    root->mstDynSyncerSm("mst1")->handleInitialized();
    EXPECT_EQ(journal.take(), Lines{mstLine("mst1", "handleInitialized")});
    EXPECT_EQ(names(root), std::set<std::string>{"mst1"});
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), std::set<std::string>{"Et1"});
    root->initializedIs(false);
    root->handleInitialized();
    EXPECT_TRUE(root->initialized());
    EXPECT_EQ(names(root), (std::set<std::string>{"mst1", "mst2"}));
}

TEST_P(RxStatusSyncer, InitializedIsSetAfterTheScan) {
    const auto mst = add("mst1", {1});
    start();
    bool rootDuring = true, mstDuring = true;
    const auto looking = onWrite(destPort(), [&](std::string const&) {
        rootDuring = root->initialized();
        if (root->mstDynSyncerSm("mst1"))
            mstDuring = root->mstDynSyncerSm("mst1")->initialized();
    });
    root->mstDynSyncerSmDel("mst1");
    root->initializedIs(false);
    root->handleInitialized();
    EXPECT_FALSE(rootDuring);
    EXPECT_TRUE(root->initialized());
    root->mstDynSyncerSm("mst1")->mstDynPortSmDel(et(1));
    root->mstDynSyncerSm("mst1")->initializedIs(false);
    root->mstDynSyncerSm("mst1")->handleInitialized();
    EXPECT_FALSE(mstDuring);
    EXPECT_TRUE(root->mstDynSyncerSm("mst1")->initialized());
}

// The root's scalars

TEST_P(RxStatusSyncer, AScalarThatChangesIsWrittenByItselfWithoutATrace) {
    start();
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    fill(*source, 7);
    EXPECT_EQ(journal.take(), scalarNames);
    EXPECT_EQ(contents(dynamic), contents(source));
    source->peerHeartbeatIs(source->peerHeartbeat());
    EXPECT_EQ(journal.take(), Lines{"peerHeartbeat"}) << "an equal value is written again";
}

TEST_P(RxStatusSyncer, TheRootIgnoresEveryOtherIdentifierAndANameWithoutKey) {
    start();
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    for (Zel::AttributeId id = 0; id < 400; ++id)
        source->notify(id, nullptr);
    EXPECT_EQ(journal.take(), scalarNames);
    const Zel::Name name("mst1");
    for (Zel::AttributeId id = 0; id < 400; ++id) {
        if (id < 259 || id == 261 || id > 264)
            source->notify(id, &name);
    }
    EXPECT_EQ(journal.take(), Lines{rootLine("handleMstStatus", "deleting mst1")});
}

TEST_P(RxStatusSyncer, AnMstNameIgnoresEveryOtherIdentifierAndAnInterfaceWithoutKey) {
    const auto mst = add("mst1");
    start();
    const TraceNotes tracing(traceName, journal.lines);
    for (Zel::AttributeId id = 0; id < 400; ++id)
        mst->notify(id, nullptr);
    EXPECT_EQ(journal.take(), Lines{});
    const Kolvu::IntfId intf = Kolvu::IntfId::ethernet(3, 4);
    for (Zel::AttributeId id = 0; id < 400; ++id)
        mst->notify(id, &intf);
    EXPECT_EQ(journal.take(),
              Lines{mstLine("mst1", "handleMstPortStatus", "deleting intf=Ethernet3/4")});
}

// MST names

TEST_P(RxStatusSyncer, AnMstNameThatIsAddedMakesExactlyOneChildAndAnotherNotificationReusesIt) {
    start();
    const TraceNotes tracing(traceName, journal.lines);
    source->rxMstStatusIs("mst1");
    EXPECT_EQ(journal.take(), (Lines{rootLine("handleMstStatus", "creating mst1"),
                                     mstLine("mst1", "handleInitialized"),
                                     mstLine("mst1", "handleMstPortStatus", "scanning list")}));
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    ASSERT_NE(child, nullptr);
    EXPECT_TRUE(child->hasNotificationActive());
    const Zel::Name name("mst1");
    source->notify(258, &name);
    EXPECT_EQ(journal.take(), Lines{rootLine("handleMstStatus", "creating mst1")});
    EXPECT_EQ(root->mstDynSyncerSm("mst1"), child);
    EXPECT_EQ(live(Mst::_zelType), 1U);
}

TEST_P(RxStatusSyncer, AnMstNameThatLeavesLosesItsChildAndTheDestinationKeepsItsContent) {
    add("mst1", {1, 2});
    start();
    const auto before = contents(dynamic);
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    source->rxMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), Lines{rootLine("handleMstStatus", "deleting mst1")});
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_EQ(live(Mst::_zelType), 0U);
    EXPECT_EQ(live(Port::_zelType), 0U);
}

TEST_P(RxStatusSyncer, ARemovedChildThatIsStillHeldIsASilentZombie) {
    const auto mst = add("mst1", {1});
    start();
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    const Zel::Ptr<Port> port = child->mstDynPortSm(et(1));
    root->mstDynSyncerSmDel("mst1");
    for (Zel::PtrInterface const* removed : {static_cast<Zel::PtrInterface const*>(child.ptr()),
                                             static_cast<Zel::PtrInterface const*>(port.ptr())}) {
        EXPECT_TRUE(removed->zelMarkedForDeletion());
        EXPECT_FALSE(removed->hasNotificationActive());
    }
    const TraceNotes tracing(traceName, journal.lines);
    mst->rxMstPortStatusIs(et(2));
    mst->rxMstPortStatus(et(1))->bpduCountIs(99);
    EXPECT_EQ(journal.take(), Lines{});
    root->mstDynSyncerSmDel("mst1");
    root->mstDynSyncerSmDel("never");
}

TEST_P(RxStatusSyncer, AFullScanMakesWhatIsMissingAndNeverDeletes) {
    const auto mst = add("mst1", {1});
    add("mst2", {1});
    start();
    root->hasNotificationActiveIs(false);
    source->rxMstStatusDel("mst2");
    mst->rxMstPortStatusDel(et(1));
    add("mst3");
    mst->rxMstPortStatusIs(et(4));
    root->handleMstStatus();
    EXPECT_EQ(names(root), (std::set<std::string>{"mst1", "mst2", "mst3"}));
    root->mstDynSyncerSm("mst1")->handleMstPortStatus();
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), (std::set<std::string>{"Et1", "Et4"}));
    root->handleMstStatus("mst2");
    root->mstDynSyncerSm("mst1")->handleMstPortStatus(et(1));
    EXPECT_EQ(names(root), (std::set<std::string>{"mst1", "mst3"}));
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), std::set<std::string>{"Et4"});
}

TEST_P(RxStatusSyncer, DeletingAllRemovesEveryChildAndLeavesBothTrees) {
    add("mst1", {1, 2});
    add("mst2", {3});
    start();
    const auto sourceBefore = contents(source), before = contents(dynamic);
    root->mstDynSyncerSm("mst1")->mstDynPortSmDelAll();
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), std::set<std::string>{});
    EXPECT_EQ(live(Port::_zelType), 1U);
    root->mstDynSyncerSmDelAll();
    EXPECT_EQ(names(root), std::set<std::string>{});
    EXPECT_EQ(live(Mst::_zelType), 0U);
    EXPECT_EQ(live(Port::_zelType), 0U);
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_EQ(contents(source), sourceBefore);
    source->rxMstStatusIs("mst4");
    EXPECT_EQ(names(root), std::set<std::string>{"mst4"}) << "the root itself goes on";
}

// Interfaces

TEST_P(RxStatusSyncer, AnInterfaceThatIsAddedMakesItsChildAndOneThatLeavesLosesIt) {
    const auto mst = add("mst1");
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    start();
    const TraceNotes tracing(traceName, journal.lines);
    const auto port = mst->rxMstPortStatusIs(et(1));
    EXPECT_EQ(journal.take(),
              (Lines{mstLine("mst1", "handleMstPortStatus", "creating intf=Ethernet1"),
                     portLine("mst1|Et1", 8)}));
    const Zel::Ptr<Port> child = root->mstDynSyncerSm("mst1")->mstDynPortSm(et(1));
    ASSERT_NE(child, nullptr);
    const Kolvu::IntfId intf = et(1);
    mst->notify(258, &intf);
    EXPECT_EQ(journal.take(),
              Lines{mstLine("mst1", "handleMstPortStatus", "creating intf=Ethernet1")});
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->mstDynPortSm(et(1)), child);
    fill(*port, 7);
    journal.take();
    const auto before = contents(dynamic);
    mst->rxMstPortStatusDel(et(1));
    EXPECT_EQ(journal.take(),
              Lines{mstLine("mst1", "handleMstPortStatus", "deleting intf=Ethernet1")});
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), std::set<std::string>{});
    EXPECT_TRUE(child->zelMarkedForDeletion());
}

TEST_P(RxStatusSyncer, AWholeTreeReachesTheDestination) {
    add("mst1", {1, 2});
    add("mst2", {1});
    start();
    for (const char* name : {"mst1", "mst2"}) {
        const auto port = source->rxMstStatus(name)->rxMstPortStatus(et(1));
        Samples::fill(*port->rxInfoIs(10));
        port->rxUpdateInc(10, 1);
    }
    fill(*source, 3);
    EXPECT_EQ(contents(dynamic), contents(source));
}

TEST_P(RxStatusSyncer, AnMstNameMayBeFollowedByItself) {
    const auto mst = add("mst1", {1});
    const TraceNotes tracing(traceName, journal.lines);
    const auto syncer = rxMstStatusToRxDynamicSyncerFactory("mst1", mst, dynamic);
    EXPECT_EQ(journal.take(),
              (Lines{mstLine("mst1", "handleInitialized"),
                     mstLine("mst1", "handleMstPortStatus", "scanning list"),
                     mstLine("mst1", "handleMstPortStatus", "creating intf=Ethernet1"),
                     portLine("mst1|Et1", 8)}));
    EXPECT_EQ(syncer->references(), 1U);
    EXPECT_TRUE(syncer->hasNotificationActive());
    EXPECT_EQ(syncer->source(), mst);
    const auto without = rxMstStatusToRxDynamicSyncerFactory("mst2", nullptr, nullptr);
    EXPECT_TRUE(without->initialized());
    EXPECT_EQ(journal.take(), (Lines{mstLine("mst2", "handleInitialized"),
                                     mstLine("mst2", "handleMstPortStatus", "scanning list")}));
    without->handleMstPortStatus(et(1));
    EXPECT_EQ(journal.take(),
              Lines{mstLine("mst2", "handleMstPortStatus", "deleting intf=Ethernet1")});
}

// Other parameters for what is there

TEST_P(RxStatusSyncer, AChildIsReusedWithTheSameParametersAndSwitchedOn) {
    const auto mst = add("mst1", {1});
    start();
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    const Zel::Ptr<Port> port = child->mstDynPortSm(et(1));
    root->hasNotificationActiveIs(false);
    EXPECT_EQ(root->mstDynSyncerSmIs("mst1", mst, dynamic), child);
    EXPECT_TRUE(child->hasNotificationActive());
    EXPECT_TRUE(port->hasNotificationActive());
    child->hasNotificationActiveIs(false);
    EXPECT_EQ(child->mstDynPortSmIs("mst1", et(1), mst->rxMstPortStatus(et(1)), dynamic), port);
    EXPECT_TRUE(port->hasNotificationActive());
    EXPECT_FALSE(child->hasNotificationActive());
}

TEST_P(RxStatusSyncer, ANameInUseWithAnotherSourceOrDestinationThrowsAndChangesNothing) {
    const auto mst = add("mst1", {1});
    start();
    const RxMstStatus::Ptr wrong(new RxMstStatus("mst1"));
    const auto before = contents(dynamic);
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    child->hasNotificationActiveIs(false);
    const TraceNotes tracing(traceName, journal.lines);
    const auto textOfIs = [&](RxMstStatus::Ptr const& from, RxStatus::Ptr const& to) {
        return textThrown<Zel::NameInUseException>(
            [&] { root->mstDynSyncerSmIs("mst1", from, to); });
    };
    const auto sourceText = inUse("source", strep(wrong), strep(mst));
    EXPECT_EQ(textOfIs(wrong, dynamic), sourceText);
    EXPECT_EQ(textOfIs(wrong, other), sourceText) << "the source is compared first";
    EXPECT_EQ(textOfIs(nullptr, dynamic), inUse("source", "Varnol::RxMstStatus(null)", strep(mst)));
    EXPECT_EQ(textOfIs(mst, other), inUse("rxStatus", strep(other), strep(dynamic)));
    EXPECT_EQ(textOfIs(mst, nullptr), inUse("rxStatus", "Varnol::RxStatus(null)", strep(dynamic)));
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(root->mstDynSyncerSm("mst1"), child);
    EXPECT_EQ(child->source(), mst);
    EXPECT_EQ(child->rxStatus(), dynamic);
    EXPECT_FALSE(child->hasNotificationActive()) << "not switched on";
    EXPECT_EQ(live(Mst::_zelType), 1U);
    EXPECT_EQ(contents(dynamic), before);
}

TEST_P(RxStatusSyncer, AnInterfaceInUseWithAnotherParameterThrowsAndChangesNothing) {
    const auto mst = add("mst1", {1});
    const auto from = mst->rxMstPortStatus(et(1));
    start();
    const RxMstPortStatus::Ptr wrong(new RxMstPortStatus(et(1)));
    const Zel::Ptr<Mst> parent = root->mstDynSyncerSm("mst1");
    const Zel::Ptr<Port> child = parent->mstDynPortSm(et(1));
    child->hasNotificationActiveIs(false);
    const auto before = contents(dynamic);
    const auto textOfIs = [&](const char* name, RxMstPortStatus::Ptr const& port,
                              RxStatus::Ptr const& to) {
        return textThrown<Zel::NameInUseException>(
            [&] { parent->mstDynPortSmIs(name, et(1), port, to); });
    };
    EXPECT_EQ(textOfIs("mst2", from, dynamic), inUse("mstName", "mst2", "mst1"));
    EXPECT_EQ(textOfIs("mst2", wrong, other), inUse("mstName", "mst2", "mst1")) << "first";
    EXPECT_EQ(textOfIs("mst1", wrong, dynamic), inUse("source", strep(wrong), strep(from)));
    EXPECT_EQ(textOfIs("mst1", wrong, other), inUse("source", strep(wrong), strep(from)))
        << "second";
    EXPECT_EQ(textOfIs("mst1", from, other), inUse("rxStatus", strep(other), strep(dynamic)));
    EXPECT_EQ(parent->mstDynPortSm(et(1)), child);
    EXPECT_EQ(child->source(), from);
    EXPECT_FALSE(child->hasNotificationActive());
    EXPECT_EQ(live(Port::_zelType), 1U);
    EXPECT_EQ(contents(dynamic), before);
}

TEST_P(RxStatusSyncer, APointerIsPrintedWithItsClassAndAddress) {
    const auto mst = add("mst1");
    EXPECT_TRUE(std::string(strep(mst).view()).starts_with("Varnol::RxMstStatus(0x"));
    EXPECT_TRUE(std::string(strep(dynamic).view()).starts_with("Varnol::RxStatus(0x"));
}

TEST_P(RxStatusSyncer, AnElementThatIsReplacedUnderItsNameThrowsToItsWriterAndTheChildStays) {
    const auto mst = add("mst1", {1});
    start();
    const RxMstStatus::Ptr replacement(new RxMstStatus("mst1"));
    EXPECT_EQ(
        textThrown<Zel::NameInUseException>([&] { source->rxMstStatusMemberIs(replacement); }),
        inUse("source", strep(replacement), strep(mst)));
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->source(), mst);
    source->rxMstStatusDel("mst1");
    source->rxMstStatusIs("mst1");
    expectStandsAsItsSource();
}

// Another source of the root

TEST_P(RxStatusSyncer, AnotherSourceIsScannedAndItsScalarsAreNotCopied) {
    add("mst1", {1});
    fill(*source, 7);
    start();
    const auto before = scalars(dynamic);
    fill(*other, 9);
    other->rxMstStatusIs("mst2");
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    root->sourceIs(other);
    EXPECT_EQ(journal.take(), (Lines{rootLine("handleMstStatus", "scanning list"),
                                     rootLine("handleMstStatus", "creating mst2"),
                                     mstLine("mst2", "handleInitialized"),
                                     mstLine("mst2", "handleMstPortStatus", "scanning list")}));
    EXPECT_EQ(scalars(dynamic), before);
    EXPECT_EQ(root->source(), other);
    EXPECT_EQ(names(root), (std::set<std::string>{"mst1", "mst2"})) << "a scan never deletes";
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(live(Root::ZelSource::_zelType), 1U);
    source->localHeartbeatIs(1);
    EXPECT_EQ(journal.take(), Lines{});
    other->localHeartbeatIs(2);
    EXPECT_EQ(journal.take(), Lines{"localHeartbeat"});
    other->rxMstStatusIs("mst3");
    EXPECT_EQ(names(root), (std::set<std::string>{"mst1", "mst2", "mst3"}));
}

TEST_P(RxStatusSyncer, TheSameSourceAgainChangesNothingAndTracesNothing) {
    add("mst1", {1});
    start();
    root->mstDynSyncerSmDelAll();
    const TraceNotes tracing(traceName, journal.lines);
    root->sourceIs(source);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(names(root), std::set<std::string>{});
}

TEST_P(RxStatusSyncer, ASourceThatBecomesNullOrIsRemovedLeavesChildrenAndDestination) {
    add("mst1", {1});
    for (const bool remove : {false, true}) {
        start();
        fill(*source, 7);
        const auto before = contents(dynamic);
        const TraceNotes tracing(traceName, journal.lines);
        if (remove)
            root->sourceDel();
        else
            root->sourceIs(nullptr);
        EXPECT_EQ(journal.take(),
                  remove ? Lines{} : Lines{rootLine("handleMstStatus", "scanning list")});
        EXPECT_EQ(root->source(), nullptr);
        EXPECT_TRUE(source->notifieeList()->empty());
        EXPECT_EQ(names(root), std::set<std::string>{"mst1"});
        fill(*source, 8);
        EXPECT_EQ(contents(dynamic), before);
        source->rxMstStatus("mst1")->rxMstPortStatus(et(1))->bpduCountIs(99);
        EXPECT_EQ(destPort()->bpduCount(), 99U) << "the children go on";
        root->sourceDel();
        root->sourceIs(source);
        EXPECT_EQ(names(root), std::set<std::string>{"mst1"}) << "and are reused";
        root = nullptr;
        journal.take();
    }
}

TEST_P(RxStatusSyncer, ASourceThatHoldsANameThatIsFollowedThrowsAndIsWatchedAllTheSame) {
    const auto mst = add("mst1", {1});
    start();
    // Two more names, one on either side of it in the walk of the other tree if there are such.
    for (const char* name : {"mst0", "mst1", "mst2", "mst3", "mst4"})
        other->rxMstStatusIs(name);
    Lines walk;
    for (Zel::Ptr<RxMstStatus const> const& each : std::as_const(*other).rxMstStatus())
        walk.push_back(TreeText::text(each->name()));
    const auto at = std::ranges::find(walk, "mst1");
    ASSERT_NE(at, walk.end());
    std::set<std::string> expected(walk.begin(), at);
    expected.insert("mst1");

    EXPECT_EQ(textThrown<Zel::NameInUseException>([&] { root->sourceIs(other); }),
              inUse("source", strep(other->rxMstStatus("mst1")), strep(mst)));
    EXPECT_EQ(root->source(), other) << "the new source is watched";
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(names(root), expected) << "those scanned before have their child, the rest none";
    for (std::string const& name : expected) {
        const auto child = root->mstDynSyncerSm(std::string_view(name));
        EXPECT_EQ(child->source(), name == "mst1" ? Zel::Ptr<RxMstStatus const>(mst)
                                                  : other->rxMstStatus(std::string_view(name)))
            << name;
        EXPECT_TRUE(child->hasNotificationActive());
    }
    // The way out: the child goes, and the scan is repeated.
    root->mstDynSyncerSmDel("mst1");
    root->handleMstStatus();
    expectStandsAsItsSource();
    other->localHeartbeatIs(5);
    EXPECT_EQ(dynamic->localHeartbeat(), 5U);
}

TEST_P(RxStatusSyncer, AReboundReactorCopiesTheScalarsInOrderAndDoesNotRescan) {
    start();
    fill(*other, 9);
    other->rxMstStatusIs("mst2");
    const Zel::Ptr<Root::ZelSource> reactor = Zel::newActive<Root::ZelSource>(source, root.ptr());
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    reactor->notifierIs(other);
    EXPECT_EQ(journal.take(), scalarNames);
    EXPECT_EQ(scalars(dynamic), scalars(other));
    EXPECT_TRUE(reactor->isRegisteredNotifiee());
    EXPECT_EQ(names(root), std::set<std::string>{});
    reactor->notifierIs(other);
    reactor->notifierIs(nullptr);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusSyncer, AnUnboundReactorWritesZeros) {
    fill(*source, 7);
    start();
    const auto reactor = Zel::newActive<Root::ZelSource>(source, root.ptr());
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    reactor->notifierIs(nullptr);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(scalars(dynamic), scalars(source));
    for (Zel::AttributeId id : {259U, 260U, 262U, 263U, 264U})
        reactor->onAttribute(id, nullptr);
    EXPECT_EQ(journal.take(), scalarNames);
    EXPECT_EQ(scalars(dynamic), scalars(RxStatus::Ptr(new RxStatus)));
}

TEST_P(RxStatusSyncer, AnotherSourceOfAnMstNameRunsNoHandler) {
    const auto mst = add("mst1", {1});
    const RxMstStatus::Ptr another(new RxMstStatus("mst1"));
    another->rxMstPortStatusIs(et(2));
    start();
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    const TraceNotes tracing(traceName, journal.lines);
    child->sourceIs(another);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(child->source(), another);
    EXPECT_EQ(ports(child), std::set<std::string>{"Et1"});
    EXPECT_TRUE(mst->notifieeList()->empty());
    another->rxMstPortStatusIs(et(3));
    EXPECT_EQ(ports(child), (std::set<std::string>{"Et1", "Et3"}));
    const auto references = another->references();
    child->sourceIs(another);
    EXPECT_EQ(another->references(), references);
    child->sourceDel();
    EXPECT_EQ(child->source(), nullptr);
    another->rxMstPortStatusDel(et(3));
    EXPECT_EQ(ports(child), (std::set<std::string>{"Et1", "Et3"})) << "children are left alone";
    child->sourceDel();
}

// Switching off, zombies, the end

TEST_P(RxStatusSyncer, SwitchingTheRootOffSilencesTheWholeTree) {
    const auto mst = add("mst1", {1});
    start();
    const auto before = contents(dynamic);
    const auto change = [&] {
        source->localHeartbeatIs(source->localHeartbeat() + 1);
        mst->rxMstPortStatus(et(1))->bpduCountIs(mst->rxMstPortStatus(et(1))->bpduCount() + 1);
        source->rxMstStatusIs("mst2");
        source->rxMstStatusDel("mst2");
        mst->rxMstPortStatusIs(et(2));
        mst->rxMstPortStatusDel(et(2));
    };
    const TraceNotes tracing(traceName, journal.lines);
    root->hasNotificationActiveIs(false);
    change();
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(contents(dynamic), before);
    for (const bool on : {false, true}) {
        root->hasNotificationActiveIs(on);
        EXPECT_EQ(root->hasNotificationActive(), on);
        EXPECT_EQ(root->mstDynSyncerSm("mst1")->hasNotificationActive(), on);
        EXPECT_EQ(root->mstDynSyncerSm("mst1")->mstDynPortSm(et(1))->hasNotificationActive(), on);
    }
    EXPECT_EQ(contents(dynamic), before) << "switching on catches nothing up";
    change();
    EXPECT_EQ(journal.take().size(), 9U)
        << "count, then two names and two interfaces made and gone";
    EXPECT_EQ(dynamic->localHeartbeat(), source->localHeartbeat());
}

TEST_P(RxStatusSyncer, TheSameFlagAgainIsNotPassedOn) {
    add("mst1", {1});
    start();
    root->mstDynSyncerSm("mst1")->hasNotificationActiveIs(false);
    root->hasNotificationActiveIs(true);
    EXPECT_FALSE(root->mstDynSyncerSm("mst1")->hasNotificationActive());
    root->mstDynSyncerSm("mst1")->zelDoZombieReactors(true);
    root->zelDoZombieReactors(false);
    EXPECT_TRUE(root->mstDynSyncerSm("mst1")->zelMarkedForDeletion());
}

TEST_P(RxStatusSyncer, ZombiesRunNoHandlerAndMayComeBack) {
    const auto mst = add("mst1", {1});
    start();
    root->zelDoZombieReactors(true);
    EXPECT_TRUE(root->mstDynSyncerSm("mst1")->zelMarkedForDeletion());
    EXPECT_TRUE(root->mstDynSyncerSm("mst1")->mstDynPortSm(et(1))->zelMarkedForDeletion());
    const auto before = contents(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    source->localHeartbeatIs(99);
    source->rxMstStatusIs("mst2");
    mst->rxMstPortStatusIs(et(2));
    mst->rxMstPortStatus(et(1))->bpduCountIs(99);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(contents(dynamic), before);
    root->zelDoZombieReactors(false);
    source->localHeartbeatIs(100);
    mst->rxMstPortStatus(et(1))->bpduCountIs(100);
    EXPECT_EQ(dynamic->localHeartbeat(), 100U);
    EXPECT_EQ(destPort()->bpduCount(), 100U);
}

TEST_P(RxStatusSyncer, AReactorThatIsAZombieDropsWhatReachesIt) {
    start();
    const Zel::Ptr<Root::ZelSource> reactor(new Root::ZelSource(source, root.ptr()));
    reactor->zelMarkedForDeletionIs(true);
    source->rxMstStatusIs("mst1");
    root->mstDynSyncerSmDelAll();
    journal.watch(dynamic);
    const Zel::Name name("mst1");
    for (Zel::AttributeId id = 258; id < 265; ++id)
        reactor->onAttribute(id, id == 258 ? &name : nullptr);
    reactor->notifierIs(other);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(names(root), std::set<std::string>{});
}

TEST_P(RxStatusSyncer, TheReactorOfAnMstNameThatIsAZombieDropsWhatReachesIt) {
    const auto mst = add("mst1", {1});
    start();
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    child->mstDynPortSmDelAll();
    const Zel::Ptr<Mst::ZelSource> reactor(new Mst::ZelSource(mst, child.ptr()));
    const Kolvu::IntfId intf = et(1);
    journal.follow(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    reactor->zelMarkedForDeletionIs(true);
    reactor->onAttribute(258, &intf);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(ports(child), std::set<std::string>{});
    reactor->zelMarkedForDeletionIs(false);
    reactor->onAttribute(258, &intf);
    EXPECT_EQ(ports(child), std::set<std::string>{"Et1"});
}

TEST_P(RxStatusSyncer, AZombieRootGivenAnotherSourceMakesNoChildrenAndWritesNothing) {
    start();
    root->zelDoZombieReactors(true);
    fill(*other, 9);
    other->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    journal.follow(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    root->sourceIs(other);
    EXPECT_EQ(root->source(), other);
    other->localHeartbeatIs(1);
    other->rxMstStatusIs("mst2");
    EXPECT_EQ(names(root), std::set<std::string>{});
    EXPECT_EQ(journal.take(), Lines{});
    root->zelDoZombieReactors(false);
    other->localHeartbeatIs(2);
    EXPECT_EQ(journal.take(), Lines{"localHeartbeat"}) << "the new source is watched";
}

TEST_P(RxStatusSyncer, AnMstNameMadeForAZombieIsAZombieThatFollowsNothing) {
    const auto mst = add("mst1", {1});
    start();
    root->mstDynSyncerSmDelAll();
    root->zelDoZombieReactors(true);
    const Zel::Ptr<Mst> child = root->mstDynSyncerSmIs("mst1", mst, dynamic);
    EXPECT_EQ(root->mstDynSyncerSm("mst1"), child);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    ASSERT_NE(child->mstDynPortSm(et(1)), nullptr);
    EXPECT_TRUE(child->mstDynPortSm(et(1))->zelMarkedForDeletion());
    journal.follow(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    const auto change = [&](Zel::U16 port) {
        fill(*mst->rxMstPortStatus(et(1)), port);
        mst->rxMstPortStatus(et(1))->rxUpdateInc(10, 1);
        mst->rxMstPortStatusIs(et(port));
    };
    change(2);
    child->hasNotificationActiveIs(false);
    child->hasNotificationActiveIs(true);
    change(3);
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(ports(child), std::set<std::string>{"Et1"});
}

TEST_P(RxStatusSyncer, AnInterfaceMadeForAZombieIsAZombieThatFollowsNothing) {
    const auto mst = add("mst1", {1});
    start();
    const Zel::Ptr<Mst> parent = root->mstDynSyncerSm("mst1");
    parent->mstDynPortSmDelAll();
    parent->zelDoZombieReactors(true);
    const auto from = mst->rxMstPortStatus(et(1));
    const Zel::Ptr<Port> child = parent->mstDynPortSmIs("mst1", et(1), from, dynamic);
    EXPECT_EQ(parent->mstDynPortSm(et(1)), child);
    EXPECT_TRUE(child->zelMarkedForDeletion());
    journal.follow(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    const auto change = [&](unsigned seed) {
        fill(*from, seed);
        from->rxInfoIs(10);
        from->rxUpdateInc(10, 1);
    };
    change(2);
    child->hasNotificationActiveIs(false);
    child->hasNotificationActiveIs(true);
    change(3);
    EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(RxStatusSyncer, TheEndOfTheRootEndsTheWholeTreeAndLeavesBothTrees) {
    add("mst1", {1, 2});
    add("mst2", {1});
    start();
    fill(*source, 4);
    const auto before = contents(dynamic);
    journal.watch(dynamic);
    const TraceNotes tracing(traceName, journal.lines);
    const Zel::Ptr<Mst> held = root->mstDynSyncerSm("mst1");
    root = nullptr;
    EXPECT_EQ(journal.take(), Lines{});
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_EQ(live(Root::_zelType), 0U);
    EXPECT_EQ(live(Mst::_zelType), 1U) << "the one that is held";
    EXPECT_TRUE(held->zelMarkedForDeletion());
    source->rxMstStatus("mst1")->rxMstPortStatus(et(1))->bpduCountIs(77);
    EXPECT_EQ(contents(dynamic), before);
    EXPECT_TRUE(source->notifieeList()->empty());
}

// Disturbances

TEST_P(RxStatusSyncer, ADestinationReactorMayDropTheRootInAScalarWrite) {
    for (std::string const& when : scalarNames) {
        add("mst1", {1});
        start();
        const auto dropping = onWrite(dynamic, [&](std::string const& what) {
            if (what == when)
                root = nullptr;
        });
        fill(*source, 6);
        EXPECT_EQ(root, nullptr) << when;
        EXPECT_EQ(live(Root::_zelType), 0U) << when;
        EXPECT_EQ(live(Port::_zelType), 0U) << when;
    }
}

TEST_P(RxStatusSyncer, ADestinationReactorMayDropTheRootWhileAChildIsBuiltOrAListScanned) {
    for (const bool scan : {false, true}) {
        add("mst1", {1, 2});
        add("mst2", {1});
        start();
        const auto dropping = onWrite(destPort(), [&](std::string const&) { root = nullptr; });
        if (scan) {
            Root* const raw = root.ptr();
            raw->mstDynSyncerSmDelAll();
            raw->handleMstStatus();
        } else {
            const auto kept = source->rxMstStatus("mst1");
            source->rxMstStatusDel("mst1");
            source->rxMstStatusMemberIs(kept);
        }
        EXPECT_EQ(root, nullptr);
        EXPECT_EQ(live(Root::_zelType), 0U);
        EXPECT_EQ(live(Mst::_zelType), 0U);
        EXPECT_EQ(live(Port::_zelType), 0U);
        EXPECT_TRUE(source->notifieeList()->empty());
    }
}

TEST_P(RxStatusSyncer, AChildMadeDirectlyMayLoseItsOwnerWhileItIsBuiltAndIsASilentZombieThen) {
    const auto expectSilentZombie = [&](Zel::PtrInterface const& child) {
        EXPECT_EQ(root, nullptr) << "nothing was written";
        EXPECT_EQ(live(Root::_zelType), 0U);
        EXPECT_TRUE(child.zelMarkedForDeletion());
        EXPECT_FALSE(child.hasNotificationActive());
    };
    const auto mst = add("mst1", {1});
    const auto from = mst->rxMstPortStatus(et(1));
    {
        start();
        root->mstDynSyncerSmDel("mst1");
        const auto dropping = onWrite(destPort(), [&](std::string const&) { root = nullptr; });
        Root* const raw = root.ptr();
        const Zel::Ptr<Mst> child = raw->mstDynSyncerSmIs("mst1", mst, dynamic);
        expectSilentZombie(*child);
        EXPECT_EQ(child->source(), mst);
    }
    {
        start();
        root->mstDynSyncerSm("mst1")->mstDynPortSmDel(et(1));
        const auto dropping = onWrite(destPort(), [&](std::string const&) { root = nullptr; });
        Mst* const raw = root->mstDynSyncerSm("mst1").ptr(); // which the root alone holds
        const Zel::Ptr<Port> child = raw->mstDynPortSmIs("mst1", et(1), from, dynamic);
        expectSilentZombie(*child);
        EXPECT_EQ(child->source(), from);
        EXPECT_EQ(live(Mst::_zelType), 0U);
    }
    EXPECT_TRUE(source->notifieeList()->empty());
}

TEST_P(RxStatusSyncer, WhatTheConstructionOfAPortTakesOutOfTheSourceHasNoChild) {
    const auto mst = add("mst1");
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    start();
    const auto deleting =
        onWrite(destPort(), [&](std::string const&) { mst->rxMstPortStatusDel(et(1)); });
    mst->rxMstPortStatusIs(et(1));
    EXPECT_EQ(mst->rxMstPortStatus(et(1)), nullptr);
    EXPECT_EQ(live(Port::_zelType), 0U);
    expectStandsAsItsSource();
}

TEST_P(RxStatusSyncer, WhatTheConstructionOfAnMstNameTakesOutOfTheSourceHasNoChild) {
    start();
    add("mst2");
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    const auto deleting =
        onWrite(destPort(), [&](std::string const&) { source->rxMstStatusDel("mst1"); });
    const RxMstStatus::Ptr mst(new RxMstStatus("mst1"));
    mst->rxMstPortStatusIs(et(1));
    source->rxMstStatusMemberIs(mst);
    EXPECT_EQ(source->rxMstStatus("mst1"), nullptr);
    EXPECT_EQ(live(Mst::_zelType), 1U);
    expectStandsAsItsSource();
}

TEST_P(RxStatusSyncer, AChildStaysWhoseConstructionReplacesTheSourceOfItsOwner) {
    start();
    const auto mst = add("mst1");
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    const RxMstStatus::Ptr otherMst(new RxMstStatus("mst1"));
    auto replacing = onWrite(
        destPort(), [&](std::string const&) { root->mstDynSyncerSm("mst1")->sourceIs(otherMst); });
    const RxMstPortStatus::Ptr port = mst->rxMstPortStatusIs(et(1));
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->source(), otherMst);
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), std::set<std::string>{"Et1"});
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->mstDynPortSm(et(1))->source(), port);

    source->rxMstStatusDel("mst1");
    EXPECT_EQ(names(root), std::set<std::string>());
    replacing = onWrite(destPort(), [&](std::string const&) { root->sourceIs(other); });
    source->rxMstStatusMemberIs(mst);
    EXPECT_EQ(root->source(), other);
    EXPECT_EQ(names(root), std::set<std::string>{"mst1"});
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->source(), mst);
}

TEST_P(RxStatusSyncer, AChildStaysWhoseConstructionTakesItOutOfASourceThatItHasReplaced) {
    start();
    const auto mst = add("mst1");
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    const RxMstStatus::Ptr otherMst(new RxMstStatus("mst1"));
    auto replacing = onWrite(destPort(), [&](std::string const&) {
        root->mstDynSyncerSm("mst1")->sourceIs(otherMst);
        mst->rxMstPortStatusDel(et(1));
    });
    const RxMstPortStatus::Ptr port = mst->rxMstPortStatusIs(et(1));
    EXPECT_EQ(mst->rxMstPortStatus(et(1)), nullptr);
    EXPECT_EQ(ports(root->mstDynSyncerSm("mst1")), std::set<std::string>{"Et1"});
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->mstDynPortSm(et(1))->source(), port);

    source->rxMstStatusDel("mst1");
    mst->rxMstPortStatusIs(et(1));
    replacing = onWrite(destPort(), [&](std::string const&) {
        root->sourceIs(other);
        source->rxMstStatusDel("mst1");
    });
    source->rxMstStatusMemberIs(mst);
    EXPECT_EQ(root->source(), other);
    EXPECT_EQ(source->rxMstStatus("mst1"), nullptr);
    EXPECT_EQ(names(root), std::set<std::string>{"mst1"});
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->source(), mst);
}

TEST_P(RxStatusSyncer, WhatTheConstructionOfAChildReplacesInTheSourceIsFollowed) {
    const auto mst = add("mst1");
    dynamic->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(1));
    start();
    bool done = false;
    const auto replacing = onWrite(destPort(), [&](std::string const&) {
        if (std::exchange(done, true))
            return;
        mst->rxMstPortStatusDel(et(1));
        mst->rxMstPortStatusIs(et(1))->bpduCountIs(5);
    });
    mst->rxMstPortStatusIs(et(1));
    EXPECT_EQ(live(Port::_zelType), 1U);
    expectStandsAsItsSource();
    mst->rxMstPortStatus(et(1))->bpduCountIs(6);
    EXPECT_EQ(destPort()->bpduCount(), 6U);
}

TEST_P(RxStatusSyncer, ADestinationReactorMayDeleteFromTheCollectionThatIsScanned) {
    for (unsigned leave = 0; leave < 6; ++leave) {
        add("mst1", {1, 2, 3, 4, 5, 6});
        add("mst2", {1});
        add("mst3", {1});
        root = nullptr;
        bool done = false;
        std::vector<Watcher::Ptr> watchers;
        for (Zel::U16 port = 1; port <= 6; ++port)
            watchers.push_back(onWrite(destPort(port), [&](std::string const&) {
                if (std::exchange(done, true))
                    return;
                source->rxMstStatusDel("mst2");
                source->rxMstStatusIs("mst4");
                for (Zel::U16 gone = 1; gone <= 6; ++gone) {
                    if (gone != leave)
                        source->rxMstStatus("mst1")->rxMstPortStatusDel(et(gone));
                }
            }));
        start();
        EXPECT_TRUE(done);
        expectStandsAsItsSource();
        source->rxMstStatusDel("mst4");
        expectStandsAsItsSource();
    }
}

TEST_P(RxStatusSyncer, ASourceReactorBehindTheSyncersMayMakeANameAgainInItsOwnDeletion) {
    const auto mst = add("mst1", {1, 2});
    start();
    bool done = false;
    const auto making = onWrite(source, [&](std::string const& what) {
        if (what == "rxMstStatus[mst1] deleted" && !std::exchange(done, true))
            source->rxMstStatusIs("mst1")->rxMstPortStatusIs(et(2));
    });
    source->rxMstStatusDel("mst1");
    EXPECT_NE(source->rxMstStatus("mst1"), mst);
    expectStandsAsItsSource();
    const auto again = source->rxMstStatus("mst1");
    const auto makingPort = onWrite(again, [&](std::string const&) {
        if (!again->rxMstPortStatus(et(2)))
            again->rxMstPortStatusIs(et(2));
    });
    again->rxMstPortStatusDel(et(2));
    EXPECT_NE(again->rxMstPortStatus(et(2)), nullptr);
    expectStandsAsItsSource();
}

TEST_P(RxStatusSyncer, ASourceReactorBeforeTheSyncersThatMakesANameAgainIsToldThatItIsInUse) {
    const auto mst = add("mst1", {1});
    bool done = false;
    const auto making = onWrite(source, [&](std::string const&) {
        if (!source->rxMstStatus("mst1") && !std::exchange(done, true))
            source->rxMstStatusIs("mst1");
    });
    start(); // is told after that one, and so still has the child of the former entity
    EXPECT_EQ(
        textThrown<Zel::NameInUseException>([&] { source->rxMstStatusDel("mst1"); }).substr(0, 90),
        inUse("source", "", "").substr(0, 90));
    EXPECT_EQ(root->mstDynSyncerSm("mst1")->source(), mst) << "the child keeps its entity";
    EXPECT_NE(source->rxMstStatus("mst1"), mst);
    source->rxMstStatusDel("mst1");
    source->rxMstStatusIs("mst1");
    expectStandsAsItsSource();
}

TEST_P(RxStatusSyncer, ADestinationReactorMayRemoveOrReplaceTheRootsSource) {
    for (const bool remove : {true, false}) {
        add("mst1", {1});
        start();
        const auto disturbing = onWrite(dynamic, [&](std::string const&) {
            if (remove)
                root->sourceDel();
            else
                root->sourceIs(other);
        });
        source->localHeartbeatIs(4);
        EXPECT_EQ(dynamic->localHeartbeat(), 4U);
        source->localHeartbeatIs(5);
        EXPECT_EQ(dynamic->localHeartbeat(), 4U);
        EXPECT_TRUE(source->notifieeList()->empty());
        EXPECT_EQ(names(root), std::set<std::string>{"mst1"});
        root = nullptr;
    }
}

// Exhausted memory

TEST_P(RxStatusSyncer, ExhaustedMemoryInTheRootsFactoryLeaksNothingAndReachesTheCaller) {
    add("a name that is too long to be kept within the object that has it", {1, 2});
    add("mst2", {1});
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        attempt([&] { rxStatusToRxDynamicSyncerFactory(source, dynamic); });
    });
    EXPECT_GE(failures, 15U) << "a syncer and a reactor for the root, two names and three "
                                "interfaces, and three collections";
    EXPECT_TRUE(source->notifieeList()->empty());
    EXPECT_EQ(source->references(), 1U);
    EXPECT_EQ(dynamic->references(), 1U);
}

TEST_P(RxStatusSyncer, ExhaustedMemoryInTheFactoryOfAnMstNameLeaksNothingAndReachesTheCaller) {
    const Zel::Name name("a name that is too long to be kept within the object that has it");
    const auto mst = add(name.view(), {1, 2});
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        attempt([&] { rxMstStatusToRxDynamicSyncerFactory(name, mst, dynamic); });
    });
    EXPECT_GE(failures, 7U)
        << "a syncer and a reactor for the name and two interfaces, and the collection";
    EXPECT_TRUE(mst->notifieeList()->empty());
}

TEST_P(RxStatusSyncer, ExhaustedMemoryWhileAChildIsMadeReachesTheWriterAndAScanMakesItGood) {
    const unsigned failures = failEachAllocation([&](Attempt& attempt) {
        source = RxStatus::Ptr(new RxStatus);
        start();
        source->rxMstStatusIs("always");
        const RxMstStatus::Ptr mst(new RxMstStatus("mst1"));
        mst->rxMstPortStatusIs(et(1));
        if (!attempt([&] { source->rxMstStatusMemberIs(mst); })) {
            if (source->rxMstStatus("mst1")) {
                EXPECT_EQ(names(root), std::set<std::string>{"always"});
                root->handleMstStatus();
                expectStandsAsItsSource();
                source->rxMstStatusDel("mst1");
            }
            EXPECT_EQ(live(Port::_zelType), 0U);
        }
        expectStandsAsItsSource();
        root = nullptr;
        source = nullptr;
    });
    EXPECT_GT(failures, 4U);
}

TEST_P(RxStatusSyncer, OutOfMemoryForAnotherSourceReachesTheCallerAndTheFormerIsStillWatched) {
    const auto mst = add("mst1", {1});
    const RxMstStatus::Ptr another(new RxMstStatus("mst1"));
    start();
    const Zel::Ptr<Mst> child = root->mstDynSyncerSm("mst1");
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(root->sourceIs(other), std::bad_alloc);
    }
    {
        const FailingAllocation failing(1);
        EXPECT_THROW(child->sourceIs(another), std::bad_alloc);
    }
    EXPECT_EQ(root->source(), source);
    EXPECT_EQ(child->source(), mst);
    EXPECT_TRUE(other->notifieeList()->empty());
    EXPECT_TRUE(another->notifieeList()->empty());
    source->localHeartbeatIs(5);
    EXPECT_EQ(dynamic->localHeartbeat(), 5U);
    source->rxMstStatusIs("mst2");
    mst->rxMstPortStatusIs(et(2));
    expectStandsAsItsSource();
}

// Block timers

TEST_P(RxStatusSyncer, EveryHandlerIsTimedUnderItsQualifiedName) {
    const auto mst = add("mst1");
    start();
    const TimedBlocks blocks = timedBlocks("StpRxStatusSyncer.cpp", [&] {
        root->handleInitialized();
        root->handleMstStatus("none");
        root->mstDynSyncerSm("mst1")->handleInitialized();
        root->mstDynSyncerSm("mst1")->handleMstPortStatus(et(1));
        root->mstDynSyncerSm("mst1")->handleMstPortStatus();
        root->handleMstStatus();
    });
    // A block's record is written when it ends: the name within the scan comes first.
    EXPECT_EQ(blocks.names, (Lines{"Varnol::RxStatusToRxDynamicSyncer::handleInitialized",
                                   "Varnol::RxStatusToRxDynamicSyncer::handleMstStatus",
                                   "Varnol::RxMstStatusToRxDynamicSyncer::handleInitialized",
                                   "Varnol::RxMstStatusToRxDynamicSyncer::handleMstPortStatus",
                                   "Varnol::RxMstStatusToRxDynamicSyncer::handleMstPortStatus",
                                   "Varnol::RxStatusToRxDynamicSyncer::handleMstStatus",
                                   "Varnol::RxStatusToRxDynamicSyncer::handleMstStatus"}));
    EXPECT_NE(blocks.messageIds.at(3), blocks.messageIds.at(4));
    EXPECT_NE(blocks.messageIds.at(5), blocks.messageIds.at(6));
}

} // namespace
} // namespace Varnol
