#include "agent/trees/RecordChanges.h"

#include "framework/zel/Object.h"
#include "framework/zel/Reactor.h"

#include <gtest/gtest.h>

namespace Agent::Test {
namespace {

using Varnol::IntxInfo;

/// Counts the notifications of a record itself.
class Listener final : public Zel::Object<Listener, IntxInfo::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    std::vector<Zel::AttributeId> seen;
    void onAttribute(Zel::AttributeId id, void const*) override { seen.push_back(id); }
};
constinit Zel::TypeNode const Listener::_zelType{"Agent::Test::Listener", {}};

IntxInfo::Ptr newRecord() { return Zel::newActive<IntxInfo>(Bridging::VlanIdOrNone(0)); }

std::vector<std::string> names(std::vector<FieldChange> const& changes) {
    std::vector<std::string> names;
    for (FieldChange const& change : changes)
        names.push_back(change.name + " " + change.before + " " + change.after);
    return names;
}
using Names = std::vector<std::string>;

TEST(WriteChanges, WritesWhatDiffersAndNothingElse) {
    const auto source = newRecord();
    source->stpVersionIs(2);
    source->configNameStringIs("region");
    const auto record = newRecord();
    record->stpVersionIs(2);
    const auto listener = Zel::newActive<Listener>();
    listener->notifierIs(record);

    EXPECT_EQ(names(writeChanges(*source, record)), (Names{"configNameString  region"}));
    EXPECT_EQ(listener->seen, std::vector{IntxInfo::configNameStringAttribute::id});
    EXPECT_EQ(names(writeChanges(*source, record)), Names());
    EXPECT_EQ(listener->seen.size(), 1);
}

TEST(WriteChanges, AddsChangesAndDeletesEntries) {
    const auto source = newRecord();
    source->mstiNIs(0)->flagsIs(1);
    source->mstiNIs(2)->remainingHopsIs(3);
    source->mstiNIs(3)->remainingHopsIs(9);
    const auto record = newRecord();
    record->mstiNIs(0)->flagsIs(0);
    record->mstiNIs(1);
    record->mstiNIs(3)->remainingHopsIs(8);

    EXPECT_EQ(names(writeChanges(*source, record)),
              (Names{"flags 0(unknown) 1(unknown topologyChange)", "mstiN(2) - added",
                     "mstiN(3).remainingHops 8 9", "mstiN(1) added -"}));
    EXPECT_EQ(valueText(record.ptr()), valueText(source.ptr()));
}

TEST(WriteChanges, MakesAnyRecordEqualToAnEmptyOne) {
    const auto record = newRecord();
    record->neighborAddrIs({1, 2, 3, 4, 5, 6});
    record->mstiNIs(7)->flagsIs(1);
    const auto empty = newRecord();
    writeChanges(*empty, record);
    EXPECT_EQ(valueText(record.ptr()), valueText(empty.ptr()));
}

} // namespace
} // namespace Agent::Test
