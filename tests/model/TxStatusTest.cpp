#include "model/TxStatus.h"

#include "tests/framework/AttributeTest.h"
#include "tests/framework/NothingLeft.h"
#include "tests/model/Insertions.h"
#include "tests/model/Journal.h"
#include "tests/model/Samples.h"
#include "tests/platform/Text.h"

#include <array>
#include <type_traits>

namespace Varnol {
namespace {

using Samples::et1;
using Samples::et2;
using TreeText::contents;
using TreeText::Lines;

// The mutators and the read accessors, as the service calls them.
static_assert(std::is_same_v<decltype(&TxStatus::txMstStatusIs),
                             Zel::Ptr<TxMstStatus> (TxStatus::*)(Zel::Name)>);
static_assert(std::is_same_v<decltype(&TxStatus::txMstStatusDel), void (TxStatus::*)(Zel::Name)>);
static_assert(
    std::is_same_v<decltype(&TxStatus::heartbeatTimeoutIs), void (TxStatus::*)(double const&)>);
static_assert(std::is_same_v<decltype(&TxMstStatus::txMstPortStatusIs),
                             Zel::Ptr<TxMstPortStatus> (TxMstStatus::*)(Kolvu::IntfId)>);
static_assert(std::is_same_v<decltype(&TxMstStatus::txMstPortStatusDel),
                             void (TxMstStatus::*)(Kolvu::IntfId)>);
static_assert(std::is_same_v<decltype(&TxMstPortStatus::txUpdateIs),
                             void (TxMstPortStatus::*)(Bridging::VlanIdOrNone, unsigned)>);
static_assert(std::is_same_v<decltype(&TxMstPortStatus::txUpdateDel),
                             void (TxMstPortStatus::*)(Bridging::VlanIdOrNone)>);
static_assert(
    std::is_same_v<decltype(&TxMstPortStatus::txNewInfoIs), void (TxMstPortStatus::*)(unsigned)>);
static_assert(std::is_same_v<decltype(&TxMstPortStatus::txHelloWhenOnIs),
                             void (TxMstPortStatus::*)(Stp::TimerVal)>);
static_assert(std::is_same_v<decltype(&TxMstPortStatus::txInfoIs),
                             IntxInfo::Ptr (TxMstPortStatus::*)(Bridging::VlanIdOrNone)>);
static_assert(std::is_same_v<decltype(&TxMstPortStatus::txInfoDel),
                             void (TxMstPortStatus::*)(Bridging::VlanIdOrNone)>);
static_assert(std::is_same_v<decltype(std::declval<TxStatus const&>().txMstStatus("")),
                             Zel::Ptr<TxMstStatus const>>);
static_assert(std::is_same_v<decltype(std::declval<TxMstStatus const&>().txMstPortStatus(et1)),
                             Zel::Ptr<TxMstPortStatus const>>);

template <class Pointer>
concept WritesRoot = requires(Pointer root) {
    root->txMstStatusIs("mst1");
};
static_assert(WritesRoot<TxStatus::Ptr> && !WritesRoot<Zel::Ptr<TxStatus const>>);

class TxStatusTree : public NothingLeft {
  protected:
    TxMstPortStatus::Ptr port() { return root->txMstStatusIs("mst1")->txMstPortStatusIs(et1); }

    TxStatus::Ptr root{new TxStatus};
    Journal journal;
};
WITH_BOTH_WAYS_OF_COUNTING(TxStatusTree);

TEST_P(TxStatusTree, HasTheAttributesOfItsRootAndNoOther) {
    using enum Zel::AttributeKind;
    const auto table = TxStatus::_zelType.attributes();
    ASSERT_EQ(table.size(), 2U);
    expectRow(table[0], 258, "txMstStatus", collection, typeid(TxMstStatus), &typeid(Zel::Name));
    expectRow(table[1], 259, "heartbeatTimeout", scalar, typeid(double));
}

TEST_P(TxStatusTree, HasTheAttributesOfAnMstNameAndNoOther) {
    using enum Zel::AttributeKind;
    const auto table = TxMstStatus::_zelType.attributes();
    ASSERT_EQ(table.size(), 1U);
    expectRow(table[0], 258, "txMstPortStatus", collection, typeid(TxMstPortStatus),
              &typeid(Kolvu::IntfId));
}

TEST_P(TxStatusTree, HasTheAttributesOfAnInterfaceAndNoOther) {
    using enum Zel::AttributeKind;
    const auto table = TxMstPortStatus::_zelType.attributes();
    ASSERT_EQ(table.size(), 5U);
    expectRow(table[0], 258, "intfId", key, typeid(Kolvu::IntfId));
    expectRow(table[1], 259, "txUpdate", valueMap, typeid(unsigned),
              &typeid(Bridging::VlanIdOrNone));
    expectRow(table[2], 260, "txNewInfo", scalar, typeid(unsigned));
    expectRow(table[3], 261, "txHelloWhenOn", scalar, typeid(Stp::TimerVal));
    expectRow(table[4], 262, "txInfo", collection, typeid(IntxInfo),
              &typeid(Bridging::VlanIdOrNone));
}

TEST_P(TxStatusTree, HasItsTypesRegisteredUnderTheirQualifiedNames) {
    EXPECT_EQ(Zel::typeNode("Varnol::TxStatus"), &TxStatus::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::TxMstStatus"), &TxMstStatus::_zelType);
    EXPECT_EQ(Zel::typeNode("Varnol::TxMstPortStatus"), &TxMstPortStatus::_zelType);
    EXPECT_EQ(root->fwkType(), &TxStatus::_zelType);
    EXPECT_EQ(root->txMstStatusIs("mst1")->fwkType(), &TxMstStatus::_zelType);
    EXPECT_EQ(port()->fwkType(), &TxMstPortStatus::_zelType);
}

TEST_P(TxStatusTree, BeginsEmptyAndZero) {
    EXPECT_EQ(root->txMstStatus().members(), 0U);
    EXPECT_EQ(root->heartbeatTimeout(), 0.0);
    EXPECT_EQ(root->txMstStatusIs("mst1")->txMstPortStatus().members(), 0U);
    EXPECT_EQ(port()->txUpdate().members(), 0U);
    EXPECT_EQ(port()->txNewInfo(), 0U);
    EXPECT_EQ(port()->txHelloWhenOn(), Stp::TimerVal());
    EXPECT_EQ(port()->txInfo().members(), 0U);
}

TEST_P(TxStatusTree, ChildrenCarryTheirKeys) {
    EXPECT_EQ(root->txMstStatusIs("mst1")->name(), Zel::Name("mst1"));
    EXPECT_EQ(port()->intfId(), et1);
    EXPECT_EQ(port()->txInfoIs(4094)->vlanId(), 4094);
}

TEST_P(TxStatusTree, LookingUpAnAbsentChildYieldsNullAndLeavesTheTreeUnchanged) {
    const TxMstPortStatus::Ptr at = port();
    const auto before = contents(root);
    journal.follow(root);
    const Zel::Ptr<TxStatus const> view = root;
    EXPECT_EQ(view->txMstStatus("mst2"), nullptr);
    EXPECT_EQ(view->txMstStatus(""), nullptr);
    EXPECT_EQ(view->txMstStatus("mst1")->txMstPortStatus(et2), nullptr);
    EXPECT_EQ(view->txMstStatus("mst1")->txMstPortStatus(Kolvu::IntfId()), nullptr);
    EXPECT_EQ(std::as_const(*at).txInfo(10), nullptr);
    EXPECT_EQ(at->txUpdate(10), 0U);
    EXPECT_EQ(root->txMstStatus("mst2"), nullptr);
    EXPECT_EQ(contents(root), before);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusTree, CreateOrGetReturnsTheChildThatIsThereAndNotifiesOnlyForANewOne) {
    journal.follow(root);
    const TxMstStatus::Ptr mst = root->txMstStatusIs("mst1");
    const TxMstPortStatus::Ptr at = mst->txMstPortStatusIs(et1);
    const IntxInfo::Ptr record = at->txInfoIs(10);
    record->stpVersionIs(2);
    EXPECT_EQ(journal.take(), (Lines{"txMstStatus[mst1]", "mst1/txMstPortStatus[Et1]",
                                     "mst1/Et1/txInfo[10]", "mst1/Et1/10/stpVersion=2"}));
    EXPECT_EQ(root->txMstStatusIs("mst1"), mst);
    EXPECT_EQ(mst->txMstPortStatusIs(et1), at);
    EXPECT_EQ(at->txInfoIs(10), record);
    EXPECT_EQ(record->stpVersion(), 2);
    EXPECT_EQ(journal.take(), Lines());
}

TEST_P(TxStatusTree, DeletingNotifiesWithTheKeyOnceAndOnlyForWhatWasThere) {
    port()->txInfoIs(10);
    port()->txUpdateIs(10, 5);
    const TxMstPortStatus::Ptr at = port();
    journal.follow(root);
    for (int turn = 0; turn < 2; ++turn) {
        at->txUpdateDel(10);
        at->txInfoDel(10);
        root->txMstStatusIs("mst1")->txMstPortStatusDel(et1);
    }
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txUpdate[10] deleted", "mst1/Et1/txInfo[10] deleted",
                                     "mst1/txMstPortStatus[Et1] deleted"}));
    root->txMstStatusDel("mst1");
    root->txMstStatusDel("mst1");
    EXPECT_EQ(journal.take(), (Lines{"txMstStatus[mst1] deleted"}));
    EXPECT_EQ(root->txMstStatus().members(), 0U);
}

TEST_P(TxStatusTree, NotificationsCarryTheIdentifiersAndKeys) {
    using Seen = std::vector<std::pair<Zel::AttributeId, std::string>>;
    Seen seen;
    const auto see = [&]<class Key>(Zel::AttributeId id, Key const* key) {
        seen.emplace_back(id, key ? textOf(*key) : "");
    };
    const TxMstStatus::Ptr mst = root->txMstStatusIs("mst1");
    const TxMstPortStatus::Ptr at = port();
    const std::array watchers{
        watch(root, [&](auto id, auto key) { see(id, static_cast<Zel::Name const*>(key)); }),
        watch(mst, [&](auto id, auto key) { see(id, static_cast<Kolvu::IntfId const*>(key)); }),
        watch(at, [&](auto id, auto key) {
            see(id, static_cast<Bridging::VlanIdOrNone const*>(key));
        })};
    root->txMstStatusIs("mst2");
    root->heartbeatTimeoutIs(2.5);
    mst->txMstPortStatusIs(et2);
    at->txUpdateIs(10, 1);
    at->txNewInfoIs(1);
    at->txHelloWhenOnIs(Stp::TimerVal::seconds(2));
    at->txInfoIs(4094);
    EXPECT_EQ(seen, (Seen{{258, "mst2"},
                          {259, ""},
                          {258, "Ethernet2"},
                          {259, "10"},
                          {260, ""},
                          {261, ""},
                          {262, "4094"}}));
}

TEST_P(TxStatusTree, EachScalarMutatorStoresAndThenNotifiesOnceEqualValuesIncluded) {
    const TxMstPortStatus::Ptr at = port();
    journal.follow(root);
    root->heartbeatTimeoutIs(0.125);
    root->heartbeatTimeoutIs(0.125);
    EXPECT_EQ(journal.take(), (Lines{"heartbeatTimeout=0.125", "heartbeatTimeout=0.125"}));
    EXPECT_EQ(root->heartbeatTimeout(), 0.125);
    journal.close();
    expectEachWriteStoresThenNotifies(at, 260, &TxMstPortStatus::txNewInfo,
                                      &TxMstPortStatus::txNewInfoIs, 4294967295U);
    expectEachWriteStoresThenNotifies(at, 261, &TxMstPortStatus::txHelloWhenOn,
                                      &TxMstPortStatus::txHelloWhenOnIs, Stp::TimerVal::units(1));
}

TEST_P(TxStatusTree, KeepsAnUpdateCountOfZeroAsAnEntryThatReadsAsAbsent) {
    const TxMstPortStatus::Ptr at = port();
    journal.follow(root);
    at->txUpdateIs(0, 4294967295U);
    at->txUpdateIs(4095, 0);
    EXPECT_EQ(at->txUpdate(0), 4294967295U);
    EXPECT_EQ(at->txUpdate(4095), 0U);
    EXPECT_EQ(at->txUpdate().members(), 2U);
    at->txUpdateDel(4095);
    EXPECT_EQ(journal.take(), (Lines{"mst1/Et1/txUpdate[0]=4294967295", "mst1/Et1/txUpdate[4095]=0",
                                     "mst1/Et1/txUpdate[4095] deleted"}));
}

TEST_P(TxStatusTree, WalksItsRecordsInAscendingOrderOfVlans) {
    const TxMstPortStatus::Ptr at = port();
    for (Zel::U16 vlan : std::initializer_list<Zel::U16>{4094, 0, 10, 256})
        at->txInfoIs(vlan);
    std::vector<unsigned> vlans;
    for (auto const& record : std::as_const(*at).txInfo())
        vlans.push_back(record->vlanId().value());
    EXPECT_EQ(vlans, (std::vector<unsigned>{0, 10, 256, 4094}));
}

TEST_P(TxStatusTree, KeepsManyChildrenApart) {
    for (Zel::U16 n = 1; n <= 100; ++n)
        port()->txUpdateIs(n, n);
    for (Zel::U16 n = 1; n <= 100; ++n) {
        root->txMstStatusIs(Zel::Name(std::string_view(std::to_string(n))))
            ->txMstPortStatusIs(Kolvu::IntfId::portChannel(n))
            ->txNewInfoIs(n);
    }
    for (Zel::U16 n = 1; n <= 100; ++n) {
        const auto mst = root->txMstStatus(Zel::Name(std::string_view(std::to_string(n))));
        ASSERT_NE(mst, nullptr);
        EXPECT_EQ(mst->txMstPortStatus().members(), 1U);
        EXPECT_EQ(mst->txMstPortStatus(Kolvu::IntfId::portChannel(n))->txNewInfo(), n);
        EXPECT_EQ(port()->txUpdate(n), n);
    }
    EXPECT_EQ(root->txMstStatus().members(), 101U);
}

TEST_P(TxStatusTree, HasFourBucketsInEachHashedCollectionUntilTheyAreFull) {
    const Zel::Name names[]{"a", "b", "c", "d", "e", "f"};
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) { root->txMstStatusIs(names[n - 1]); }),
              fourBucketsFirst);
    const TxMstStatus::Ptr mst = root->txMstStatus("a");
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) { mst->txMstPortStatusIs(Samples::et(n)); }),
              fourBucketsFirst);
    const TxMstPortStatus::Ptr at = mst->txMstPortStatus(et1);
    EXPECT_EQ(allocationsOfSix([&](Zel::U16 n) { at->txUpdateIs(n, n); }), fourBucketsFirst);
}

TEST_P(TxStatusTree, AChildOutlivesItsRemovalWhileItIsReferenced) {
    const TxMstPortStatus::Ptr at = port();
    at->txInfoIs(10);
    root->txMstStatusDel("mst1");
    EXPECT_EQ(at->txInfo().members(), 1U);
    EXPECT_EQ(at->intfId(), et1);
}

TEST(TxStatusKeys, AnMstNameIsToldByItsTextAndNoNumber) {
    const Zel::Name name("mst1");
    Zel::AttributeInfo const* const info = TxStatus::_zelType.attribute(258);
    ASSERT_NE(info, nullptr);
    const Zel::KeyView view = info->keyView(&name);
    EXPECT_TRUE(view.isText);
    EXPECT_EQ(view.text, "mst1");
    EXPECT_EQ(view.number, 0U);
}

} // namespace
} // namespace Varnol
