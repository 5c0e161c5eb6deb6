// Prints what the library computes from random numbers, as text, to be compared between builds:
//
//   verify-portable [--seed N] [--part N]
//
// Whatever the compiler, its options and the machine, the output is the same, octet for octet, as
// long as the library does the same. It knows nothing but the library's rooms, so that it can be
// built where there are no packages. What a machine may well do in its own way is left out: sizes,
// addresses, the binary trace's octets, which have the machine's order, and all times.

#include "bpdu/VarnolCommon.h"
#include "bpdu/VarnolUtils.h"
#include "framework/zel/Census.h"
#include "framework/zel/Diff.h"
#include "framework/zel/Exception.h"
#include "framework/zel/PrintTree.h"
#include "framework/zel/Strep.h"
#include "framework/zel/TraceLevels.h"
#include "framework/zel/TypeNode.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"
#include "platform/stp/RstpBpdu.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/MirrorDiff.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "verify/RandomTree.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <span>
#include <vector>

namespace {

using Verify::Run;
using Zel::U16;
using Zel::U32;
using Zel::U64;
using Zel::U8;
using Zel::Value;

constexpr char hexDigits[] = "0123456789abcdef";

/// The lines printed. Octets that are not printable ASCII appear as "\xNN".
class Lines {
  public:
    void add(std::string_view text) {
        std::string line;
        for (char each : text) {
            const auto octet = static_cast<unsigned char>(each);
            if (octet >= ' ' && octet < 0x7f)
                line += each;
            else
                line.append("\\x").append({hexDigits[octet >> 4], hexDigits[octet & 0xf]});
        }
        std::cout << line << '\n';
        ++count_;
    }
    void addEach(std::string_view text) {
        while (!text.empty()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            add(text.substr(0, end));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }
    U64 count() const noexcept { return count_; }

  private:
    U64 count_ = 0;
};

std::string hex(std::span<U8 const> octets) {
    std::string text;
    for (U8 octet : octets)
        text.append({hexDigits[octet >> 4], hexDigits[octet & 0xf]});
    return text;
}

template <class... Piece> std::string traced(Piece const&... piece) {
    Zel::TraceStream stream;
    (stream << ... << piece);
    return std::string(stream.text());
}

std::string jsonText(Value const& value) {
    Zel::TraceStream stream;
    value.jsonTo(stream);
    return std::string(stream.text());
}

// ---- values ----

template <class... T> void printValuesOf(Run& run, Lines& lines) {
    const auto print = [&](std::type_info const& type) {
        const Value left = randomValue(run, type);
        const Value right = randomValue(run, type);
        lines.add(traced("value ", left.typeText(), " ", left, " json ", jsonText(left), " zero ",
                         left.isZero(), " other ", right, " equal ", left == right, " less ",
                         left < right));
    };
    (print(typeid(T)), ...);
}

void printKey(Run& run, Lines& lines, std::string_view what, std::type_info const& type,
              auto hash) {
    const Value left = randomKey(run, type);
    const Value right = randomKey(run, type);
    lines.add(traced("key ", what, " ", left, " hash ", hash(left), " mixed ",
                     Zel::HashTable::mixed(hash(left)), " other ", right, " less ", left < right));
}

template <class Key> U32 hashOf(Value const& key) { return key.as<Key>()->hash(); }

void printParsed(Run& run, Lines& lines) {
    constexpr std::array<std::string_view, 12> pieces{"Et",  "Po",       "Port-Channel", "Ethernet",
                                                      "1",   "3/",       "00:1c:73",     "-",
                                                      "999", "\xc3\xa4", ":0a:0B:ff",    "*/8,"};
    std::string text;
    for (U64 count = run.below(4); count > 0; --count)
        text += Verify::oneOf(run, pieces);
    const auto parse = [&](const char* what, auto const& parsed) {
        try {
            lines.add(traced(what, " ", std::string_view(text), ": ", parsed()));
        } catch (Zel::RangeException const& refused) {
            lines.add(traced(what, " ", std::string_view(text), " refused: ", refused.what()));
        }
    };
    parse("interface", [&] { return Kolvu::IntfId::parse(text); });
    parse("address", [&] { return Kolvu::EthAddr::parse(text); });
    parse("levels", [&] { return Zel::traceSettingsOf(text).size() + 0ULL; });
}

void printName(Run& run, Lines& lines) {
    const Zel::Name left(Verify::randomText(run, 4));
    const Zel::Name right(Verify::randomText(run, 4));
    lines.add(traced("name ", left.view(), " hash ", left.hash(), " other ", right.view(), " less ",
                     left < right));
}

void printValues(Run& run, Lines& lines) {
    printValuesOf<bool, unsigned char, unsigned short, unsigned, double, Zel::String,
                  Kolvu::EthAddr, Stp::StpBpduVersion, Stp::StpBpduType, Stp::RstpBpduFlags,
                  Stp::PathCost, Stp::MstpConfigDigest, Stp::BridgeId, Stp::PortId, Stp::TimerVal,
                  Varnol::PortCounters>(run, lines);
    printKey(run, lines, "Name", typeid(Zel::Name), hashOf<Zel::Name>);
    printKey(run, lines, "IntfId", typeid(Kolvu::IntfId), hashOf<Kolvu::IntfId>);
    printKey(run, lines, "VlanIdOrNone", typeid(Bridging::VlanIdOrNone),
             hashOf<Bridging::VlanIdOrNone>);
    printKey(run, lines, "BridgeSystemId", typeid(Stp::BridgeSystemId),
             hashOf<Stp::BridgeSystemId>);
    const Value address = randomValue(run, typeid(Kolvu::EthAddr));
    lines.add(traced("hash ", address, " ", hashOf<Kolvu::EthAddr>(address)));
    printName(run, lines);
    printParsed(run, lines);
}

// ---- frames ----

/// Writes any values to all scalars of the object.
void fill(Run& run, Zel::PtrInterface& object) {
    for (Zel::AttributeInfo const& attribute : object.fwkType()->attributes()) {
        if (attribute.kind != Zel::AttributeKind::scalar)
            continue;
        Value value = randomValue(run, *attribute.valueType);
        genericIfAttributeOp(object, attribute.id, Zel::AttributeOp::write, value);
    }
}

void printFrame(Run& run, Lines& lines) {
    const Stp::Port::Ptr port(new Stp::Port);
    fill(run, *port);
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(0));
    fill(run, *record);
    record->stpVersionIs(Stp::StpBpduVersion::rstp);
    fill(run, *record->mstiNIs(0));
    const Stp::MstPortSm::Ptr machine(new Stp::MstPortSm(port));
    const Kolvu::Pkt::Ptr frame = generatePktFromIntxInfo(machine, record, false);
    const std::span<U8 const> octets = std::as_const(*frame).data();
    lines.add(traced("frame ", hex(octets)));
    const auto bpdu = Stp::RstpBpduView::in(octets.subspan(octets.size() - 36));
    lines.add(traced("bpdu ", U32{bpdu->protocolIdentifier()}, " ", bpdu->version(), " ",
                     bpdu->type(), " ", bpdu->rstpFlags(), " root ", bpdu->rootId(), " cost ",
                     bpdu->rootPathCost(), " bridge ", bpdu->bridgeId(), " port ", bpdu->portId(),
                     " age ", bpdu->messageAge(), " max ", bpdu->maxAge(), " hello ",
                     bpdu->helloTime(), " delay ", bpdu->fwdDelay()));

    const auto size = static_cast<U32>(run.below(1500));
    Stp::CommonBpdu* begin = nullptr;
    const Kolvu::Pkt::Ptr empty = Varnol::VarnolGetPkt(0, port->ethAddr(), size, &begin);
    lines.add(traced("header ", hex(std::as_const(*empty).data().first(17))));
}

void printDecision(Run& run, Lines& lines) {
    const Zel::Ptr<Stp::PortConfig> port(new Stp::PortConfig);
    port->bpduFilterIs(static_cast<Stp::BpduFilter>(run.below(3)));
    port->adminEdgeIs(run.below(2) == 1);
    const Zel::Ptr<Stp::StpiPortStatus> status(new Stp::StpiPortStatus);
    status->operEdgeIs(run.below(2) == 1);
    const Zel::Ptr<Stp::Config> config(new Stp::Config);
    config->edgePortBpduFilterIs(run.below(2) == 1);
    const auto first = static_cast<Interface::IntfLoggingMode>(run.below(3));
    const auto second = static_cast<Interface::IntfLoggingMode>(run.below(3));
    const auto any = static_cast<U16>(run.random()());
    lines.add(traced("filter ", port->bpduFilter(), " ",
                     Varnol::mstBpdufilterPkt(port, status, config), " log ", first, " ", second,
                     " ", Varnol::logSpanTreeIntf(first, second), " priorities ", U32{any}, " ",
                     U32{Varnol::bridgePriority(any)}, " ",
                     U32{Varnol::portPriority(static_cast<U8>(any))}));
}

// ---- trees ----

/// What the walks over the object's elements meet, in the order in which they stand there.
void printWalks(Zel::PtrInterface const& object, std::string const& path, Lines& lines) {
    for (Zel::AttributeInfo const& attribute : object.fwkType()->attributes()) {
        if (!attribute.keyType)
            continue;
        std::string keys;
        for (auto at = genericIfIterator(object, attribute.id); at->iterNonnull(); at->iterInc())
            keys.append(" ").append(at->iterKey().text());
        const std::string place = path + "." + std::string(attribute.name);
        lines.add(traced("walk ", place, keys));
        for (auto at = genericIfIterator(object, attribute.id); at->iterNonnull(); at->iterInc()) {
            if (const Value child = at->iterObj(); child.isObject())
                printWalks(*child.object(), place + "[" + at->iterKey().text() + "]", lines);
        }
    }
}

void print(Zel::PtrInterface const& object, Lines& lines) {
    lines.addEach(treeText(&object));
    lines.add(treeJson(&object));
    printWalks(object, "", lines);
}

template <class Syncer> void printDiff(std::string_view what, Syncer const& syncer, Lines& lines) {
    lines.add(traced("differences ", what));
    lines.addEach(Zel::differencesText(mirrorDiff(*syncer)));
}

/// Changes that are refused, and how.
void printRefused(Run& run, Zel::PtrInterface& object, Lines& lines) {
    auto const attributes = object.fwkType()->attributes();
    Zel::AttributeInfo const& attribute = Verify::oneOf(run, attributes);
    Value value = randomValue(run, typeid(Stp::BridgeId));
    try {
        genericIfAttributeOp(object, attribute.id, Zel::AttributeOp::write, value,
                             Value(static_cast<signed char>(-1)));
        lines.add("not refused");
    } catch (Zel::RangeException const& refused) {
        lines.add(traced("refused: ", refused.what()));
    }
}

/// All that the syncers say while it lives.
class TraceLines {
  public:
    explicit TraceLines(Lines& lines)
        : former_(Zel::traceSinkIs({&take, &lines})) {
        Zel::traceSettingsAre("*/9");
    }
    TraceLines(TraceLines const&) = delete;
    TraceLines& operator=(TraceLines const&) = delete;
    ~TraceLines() {
        Zel::traceSinkIs(former_);
        Zel::traceSettingsAre("*/off");
    }

  private:
    static void take(Zel::TraceRecord const& record, void* context) {
        static_cast<Lines*>(context)->add(traced("  ", record.handle, "/", record.level, " ",
                                                 record.file, " ", record.function, ": ",
                                                 record.text));
    }

    Zel::TraceSink former_;
};

/// Trees, and the syncers between them: of transmit trees, from there to a receive tree, of receive
/// trees, of a record, and the counter of a record's changes.
void printSyncers(Run& run, Lines& lines) {
    using namespace Varnol;
    const Zel::Ptr<TxStatus> source(new TxStatus);
    const Zel::Ptr<TxStatus> dest(new TxStatus);
    const Zel::Ptr<RxStatus> received(new RxStatus);
    const Zel::Ptr<RxStatus> dynamic(new RxStatus);
    const IntxInfo::Ptr record(new IntxInfo(7));
    const IntxInfo::Ptr mirrored(new IntxInfo(7));
    const std::array<Zel::PtrInterface*, 3> sources{source.ptr(), received.ptr(), record.ptr()};
    const std::array<Zel::PtrInterface*, 3> dests{dest.ptr(), dynamic.ptr(), mirrored.ptr()};
    for (U64 step = run.below(60); step > 0; --step)
        randomChange(run, *Verify::oneOf(run, sources));
    {
        const TraceLines traces(lines);
        const auto txToTx = txStatusToTxSyncerFactory(source, dest);
        const auto txToRx = txStatusToRxSyncerFactory(source, dynamic);
        const auto rxToRx = rxStatusToRxDynamicSyncerFactory(received, dynamic);
        const auto intx = intxInfoSyncerFactory(record, mirrored, 7, "gr\xc3\xbc\xc3\x9f|Et1");
        const auto counter = intxInfoChangeSmFactory(record, 7);
        for (U64 step = 120; step > 0; --step)
            lines.add(traced("change ", randomChange(run, *Verify::oneOf(run, sources))));
        lines.add(traced("changes counted: ", counter->updatedFieldCount()));
        for (Zel::ClassCensus const& each : Zel::census().classes)
            lines.add(traced("class ", each.name, " live ", each.live, " writes ", each.writes));
        for (Zel::PtrInterface* syncer : std::initializer_list<Zel::PtrInterface*>{
                 txToTx.ptr(), txToRx.ptr(), rxToRx.ptr(), intx.ptr(), counter.ptr()})
            printWalks(*syncer, std::string(syncer->fwkType()->name()), lines);
        for (U64 step = run.below(20); step > 0; --step)
            lines.add(traced("disturbance ", randomChange(run, *Verify::oneOf(run, dests))));
        printDiff("transmit to transmit", txToTx, lines);
        printDiff("transmit to receive", txToRx, lines);
        printDiff("receive to receive", rxToRx, lines);
        printDiff("record", intx, lines);
    }
    for (unsigned i = 0; i < sources.size(); ++i) {
        print(*sources[i], lines);
        print(*dests[i], lines);
        lines.addEach(Zel::differencesText(Zel::diff(sources[i], dests[i])));
        printRefused(run, *sources[i], lines);
    }
    lines.add(traced("record ", static_cast<IntxInfo const*>(record.ptr())));
    copyIntxInfo(record, mirrored);
    lines.addEach(Zel::differencesText(Zel::diff(record.ptr(), mirrored.ptr())));
    lines.add(traced("notifications ", Zel::census().notificationsDelivered, " lost ",
                     Zel::tracesLost()));
}

// ---- classes ----

void printClasses(Lines& lines) {
    std::vector<Zel::TypeNode const*> types;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
        types.push_back(type);
    std::ranges::sort(types, {}, [](Zel::TypeNode const* type) { return type->name(); });
    for (Zel::TypeNode const* type : types) {
        lines.add(traced("class ", type->name()));
        for (Zel::AttributeInfo const& attribute : type->attributes())
            lines.add(traced(
                "  ", attribute.id, " ", attribute.name, " kind ",
                U32{static_cast<U8>(attribute.kind)}, " ", Zel::typeName(*attribute.valueType), " ",
                attribute.keyType ? Zel::typeName(*attribute.keyType) : Zel::String("-")));
    }
}

std::string work(Run& run) {
    Lines lines;
    printClasses(lines);
    for (U64 times = run.times(2000); times > 0; --times)
        printValues(run, lines);
    for (U64 times = run.times(2000); times > 0; --times) {
        printFrame(run, lines);
        printDecision(run, lines);
    }
    for (U64 times = run.times(100); times > 0; --times)
        printSyncers(run, lines);
    return Verify::grouped(lines.count()) + " lines";
}

} // namespace

int main(int argc, char** argv) { return Run::main(argc, argv, work); }
