#include "examples/TreeTable.h"

#include "model/RxStatus.h"
#include "model/TxStatus.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Examples::Test {
namespace {

using Kolvu::IntfId;

/// What trees() writes of two trees, and whether they are equal.
template <class Root>
std::pair<std::string, bool> table(Zel::Ptr<Root> const& left, Zel::Ptr<Root> const& right) {
    std::ostringstream out;
    TreeTable table(out);
    table.trees(left.ptr(), right.ptr());
    return {out.str(), table.equal()};
}

Varnol::TxStatus::Ptr transmitTree() { return Zel::newActive<Varnol::TxStatus>(); }

TEST(TreeTable, ShowsNothingOfEmptyTrees) {
    EXPECT_EQ(table(transmitTree(), transmitTree()), std::pair(std::string(), true));
}

TEST(TreeTable, ShowsAValueThatOneSideHasNotZero) {
    const auto left = transmitTree();
    left->heartbeatTimeoutIs(2.5);
    const std::string shown =
        "  heartbeatTimeout                2.5                            0\n";
    EXPECT_EQ(table(left, transmitTree()), std::pair(shown, false));
}

TEST(TreeTable, ShowsEqualValuesAsEqual) {
    const auto left = transmitTree();
    left->heartbeatTimeoutIs(2.5);
    const auto right = transmitTree();
    right->heartbeatTimeoutIs(2.5);
    const std::string shown =
        "  heartbeatTimeout                2.5                            2.5\n";
    EXPECT_EQ(table(left, right), std::pair(shown, true));
}

TEST(TreeTable, ShowsADashForWhatOneSideLacks) {
    const auto left = transmitTree();
    const auto port = left->txMstStatusIs("mst1")->txMstPortStatusIs(IntfId::ethernet(2));
    port->txUpdateIs(10, 7);
    port->txNewInfoIs(1);
    const auto right = transmitTree();
    right->txMstStatusIs("mst1")->txMstPortStatusIs(IntfId::ethernet(10));
    const std::string shown = //
        "  txMstStatus(mst1)\n"
        "    txMstPortStatus(Et2)                                         -\n"
        "      txUpdate(10)                7                              -\n"
        "      txNewInfo                   1                              -\n"
        "    txMstPortStatus(Et10)         -\n";
    EXPECT_EQ(table(left, right), std::pair(shown, false));
}

TEST(TreeTable, PutsAValueThatDoesNotFitOnALineOfItsOwn) {
    const auto left = Zel::newActive<Varnol::IntxInfo>(Bridging::VlanIdOrNone(0));
    left->configNameStringIs("a name that is longer than its column");
    const auto right = Zel::newActive<Varnol::IntxInfo>(Bridging::VlanIdOrNone(0));
    right->configNameStringIs("a name that is longer than its column");
    const std::string shown =
        "  configNameString                \"a name that is longer than its column\"\n" +
        std::string(65, ' ') + "\"a name that is longer than its column\"\n";
    EXPECT_EQ(table(left, right), std::pair(shown, true));
}

TEST(TreeTable, TellsAMissingChildFromAnEmptyOne) {
    const auto left = Zel::newActive<Varnol::RxStatus>();
    left->rxMstStatusIs("mst1");
    const std::string shown =
        "  rxMstStatus(mst1)                                              -\n";
    EXPECT_EQ(table(left, Zel::newActive<Varnol::RxStatus>()), std::pair(shown, false));
}

} // namespace
} // namespace Examples::Test
