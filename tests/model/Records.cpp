#include "tests/model/Records.h"

#include <string>

#include <gtest/gtest.h>

using TreeText::Lines;
using Varnol::IntxInfo;
using Varnol::IntxMstiInfo;

namespace {

template <class E> void expectEqual(E const& left, E const& right) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            EXPECT_TRUE(A::read(left) == A::read(right)) << A::name;
        }
    });
}

template <class E> void expectZero(E const& entity) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            EXPECT_TRUE(A::read(entity) == typename A::Value{}) << A::name;
        }
    });
}

} // namespace

Lines const scalarWrites{"neighborAddr",        "stpVersion",       "intxInfoType",
                         "configRevisionLevel", "configNameString", "configDigest"};

Lines const entryAttributes{"flags",
                            "bridgeId",
                            "portId",
                            "cistRootBridgeId",
                            "cistExtRootPathCost",
                            "cistRegionalRootBridgeId",
                            "intRootPathCost",
                            "regionalRootBridgeId",
                            "remainingHops",
                            "messageAge",
                            "maxAge",
                            "helloTime",
                            "fwdDelay"};

Lines entryWrites(unsigned instance) {
    Lines writes;
    for (std::string const& attribute : entryAttributes)
        writes.push_back(std::to_string(instance) + "/" + attribute);
    return writes;
}

Lines operator+(Lines left, Lines const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

std::vector<unsigned> keysOf(IntxInfo const& record) {
    std::vector<unsigned> keys;
    for (Zel::Ptr<IntxMstiInfo const> const& entry : record.mstiN())
        keys.push_back(entry->mstiId().value());
    return keys;
}

void expectEqualScalars(IntxInfo const& left, IntxInfo const& right) { expectEqual(left, right); }
void expectEqualScalars(IntxMstiInfo const& left, IntxMstiInfo const& right) {
    expectEqual(left, right);
}

void expectEqualRecords(IntxInfo const& left, IntxInfo const& right) {
    expectEqualScalars(left, right);
    ASSERT_EQ(keysOf(left), keysOf(right));
    for (Zel::Ptr<IntxMstiInfo const> const& entry : left.mstiN()) {
        SCOPED_TRACE(entry->mstiId().value());
        expectEqualScalars(*entry, *right.mstiN().find(entry->mstiId()));
    }
}

void expectZeroScalars(IntxInfo const& record) { expectZero(record); }
void expectZeroScalars(IntxMstiInfo const& entry) { expectZero(entry); }
