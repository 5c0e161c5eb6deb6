// A service that has nothing of the library but its headers and libVarnol.so: what it calls or
// derives from must be there, and must be the same on both sides.

#include "bpdu/VarnolUtils.h"
#include "framework/zel/Exception.h"
#include "framework/zel/PrintTree.h"
#include "framework/zel/Trace.h"
#include "framework/zel/TypeNodeOf.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/MirrorDiff.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

int failures = 0;

void check(bool holds, const char* what, int line) {
    if (holds)
        return;
    std::fprintf(stderr, "Service.cpp:%d: does not hold: %s\n", line, what);
    ++failures;
}
#define CHECK(...) check(static_cast<bool>(__VA_ARGS__), #__VA_ARGS__, __LINE__)

/// A reactor of the service's own.
class Watcher final : public Zel::Object<Watcher, Varnol::IntxInfo::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;
    std::vector<Zel::AttributeId> seen;

    void onAttribute(Zel::AttributeId id, void const*) override { seen.push_back(id); }
};
constinit Zel::TypeNode const Watcher::_zelType{"Watcher", {}};

/// An entity of the service's own.
class Lamp final : public Zel::Object<Lamp, Zel::Entity> {
  public:
    using NotifieeConst = Zel::NotifieeConstOf<Lamp>;
    static Zel::TypeNode const _zelType;

    ZEL_SCALAR(258, bool, lit)
};
constinit Zel::TypeNode const Lamp::_zelType = Zel::typeNodeOf<Lamp>("Lamp");
const bool registered = Zel::typeNodeIs(Lamp::_zelType);

constexpr Kolvu::EthAddr address{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};

Stp::MstPortSm::Ptr newPort() {
    const Stp::Port::Ptr port(new Stp::Port);
    port->ethAddrIs(address);
    return Stp::MstPortSm::Ptr(new Stp::MstPortSm(port));
}

Varnol::IntxInfo::Ptr newRecord() {
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(0));
    record->stpVersionIs(2);
    record->mstiNIs(0)->flagsIs(0x3c);
    return record;
}

void frames() {
    Stp::CommonBpdu* bpdu = nullptr;
    const Kolvu::Pkt::Ptr empty = Varnol::VarnolGetPkt(0, address, 36, &bpdu);
    CHECK(empty && empty->data().size() == 53);
    CHECK(static_cast<void*>(bpdu) == empty->data().data() + 17);

    const Kolvu::Pkt::Ptr frame = Varnol::generatePktFromIntxInfo(newPort(), newRecord(), false);
    CHECK(frame && frame->data().size() == 53);
    const unsigned char start[] = {0x01, 0x80, 0xc2, 0,    0,    0,    0, 0x1c, 0x73, 0x0a, 0x0b,
                                   0x0c, 0,    0x27, 0x42, 0x42, 0x03, 0, 0,    2,    2,    0x3c};
    CHECK(std::memcmp(frame->data().data(), start, sizeof(start)) == 0);
    CHECK(!Varnol::VarnolGetPvstPkt(newPort().ptr(), 36, &bpdu, 1));
}

void decisions() {
    const Stp::PortConfig::Ptr port(new Stp::PortConfig);
    const Stp::StpiPortStatus::Ptr status(new Stp::StpiPortStatus);
    const Stp::Config::Ptr config(new Stp::Config);
    CHECK(!Varnol::mstBpdufilterPkt(port, status, config));
    port->adminEdgeIs(true);
    status->operEdgeIs(true);
    config->edgePortBpduFilterIs(true);
    CHECK(Varnol::mstBpdufilterPkt(port, status, config));
    CHECK(Varnol::bridgePriority(15) == 61440);
    CHECK(Varnol::portPriority(15) == 240);
    using enum Interface::IntfLoggingMode;
    CHECK(Varnol::logSpanTreeIntf(on, useDefault) && !Varnol::logSpanTreeIntf(on, off));
}

template <class E, class F> bool throws(F const& call) {
    try {
        call();
    } catch (E const& exception) {
        return dynamic_cast<Zel::Exception const*>(&exception) && *exception.what() != '\0';
    }
    return false;
}

void exceptions() {
    Stp::CommonBpdu* bpdu = nullptr;
    CHECK(
        throws<Zel::RangeException>([&] { Varnol::VarnolGetPkt(0, address, 0xffffffff, &bpdu); }));
    CHECK(throws<Zel::RangeException>([] { Kolvu::EthAddr::parse("no address"); }));
    CHECK(throws<Zel::RangeException>([] { Stp::MstPortSm::Ptr(new Stp::MstPortSm(nullptr)); }));
    CHECK(throws<Zel::NameInUseException>([] { Zel::throwNameInUseException("x"); }));
    CHECK(throws<Zel::Exception>([] { newRecord()->mstiNMemberIs(nullptr); }));
}

void entities() {
    const Varnol::IntxInfo::Ptr record = newRecord();
    const auto watcher = Zel::newActive<Watcher>();
    watcher->notifierIs(record);
    record->stpVersionIs(2);
    record->mstiNIs(7);
    CHECK(watcher->seen == std::vector<Zel::AttributeId>{260, 265});
    CHECK(watcher->notifier() == record);
    CHECK(throws<Zel::RangeException>([&] { watcher->notifierIs(Zel::Ptr<Lamp>(new Lamp)); }));
    CHECK(Zel::ptrCast<Varnol::IntxInfo>(Zel::Ptr<Zel::PtrInterface>(record)) == record);
    CHECK(!Zel::ptrCast<Lamp>(Zel::Ptr<Zel::PtrInterface>(record)));
    CHECK(Zel::typeNode("Varnol::IntxInfo") == &Varnol::IntxInfo::_zelType);
    CHECK(Zel::typeNode("Lamp") == &Lamp::_zelType);
    CHECK(Varnol::IntxInfo::_zelType.allocations().liveCount() == 1);

    const Zel::Ptr<Lamp> lamp(new Lamp);
    lamp->litIs(true);
    CHECK(lamp->lit() && Lamp::_zelType.allocations().liveCount() == 1);
}

/// Objects of either side, reached by who knows neither class.
void unknownClasses() {
    using enum Zel::AttributeOp;
    using Zel::GenericIfResult;
    const Zel::Ptr<Zel::PtrInterface> lamp(new Lamp);
    const Zel::Ptr<Zel::PtrInterface> record = newRecord();
    Zel::Value value(true);
    CHECK(Zel::genericIfAttributeOp(*lamp, 258, write, value) == GenericIfResult::done);
    CHECK(Zel::treeJson(lamp.ptr()) == "{\"lit\":true}");
    CHECK(throws<Zel::RangeException>(
        [&] { Zel::genericIfAttributeOp(*record, 260, write, value); }));
    CHECK(Zel::genericIfAttributeOp(*record, 260, read, value) == GenericIfResult::done);
    CHECK(*value.as<Stp::StpBpduVersion>() == 2);
    value = Zel::Value(Stp::StpBpduVersion(3));
    Zel::genericIfAttributeOp(*record, 260, write, value);
    CHECK(Zel::diff(record.ptr(), newRecord().ptr()) == Zel::Differences{{"stpVersion", "3", "2"}});
    CHECK(throws<Zel::RangeException>([&] { Zel::diff(record.ptr(), lamp.ptr()); }));

    Zel::Ptr<Zel::PtrInterface> made;
    const Zel::Value args[] = {Zel::Value(newRecord()), Zel::Value(newRecord()),
                               Zel::Value(Bridging::VlanIdOrNone(0)), Zel::Value(Zel::String())};
    Zel::genericIfConstructFromCtorArgs(*Zel::typeNode("Varnol::IntxInfoSyncer"), made, args);
    const auto syncer = Zel::ptrCast<Varnol::IntxInfoSyncer>(made);
    CHECK(syncer && Varnol::mirrorDiff(*syncer).empty());
    syncer->dest()->mstiN(0)->flagsIs(0);
    CHECK(Varnol::mirrorDiff(*syncer).front().path == "mstiN[0].flags");
}

void traces() {
    std::string text;
    Zel::TraceSink mine{[](Zel::TraceRecord const& record, void* context) {
                            *static_cast<std::string*>(context) += record.text;
                        },
                        &text};
    CHECK(Zel::traceSinkIs(mine) == Zel::TraceSink{});
    Zel::traceLevelIs("Varnol", 8, true);
    Stp::CommonBpdu* bpdu = nullptr;
    Varnol::VarnolGetPkt(0, address, 36, &bpdu);
    Zel::traceLevelIs("Varnol", 8, false);
    CHECK(text == "VarnolGetPkt: called for vlan 0 src mac: 00:1c:73:0a:0b:0c size: 36");
    CHECK(Zel::traceSinkIs({}) == mine);

    Zel::TraceStream stream;
    stream << newRecord().ptr();
    CHECK(stream.text().starts_with("neighborAddr="));
}

} // namespace

int main() {
    frames();
    decisions();
    exceptions();
    entities();
    unknownClasses();
    traces();
    CHECK(Kolvu::globalPktManager().inUse() == 0);
    CHECK(Varnol::IntxInfo::_zelType.allocations().liveCount() == 0);
    CHECK(Varnol::IntxMstiInfo::_zelType.allocations().liveCount() == 0);
    return failures == 0 ? 0 : 1;
}
