#include "agent/bpdu/Parse.h"

#include "agent/bpdu/Layouts.h"
#include "bpdu/LlcHeader.h"

#include <optional>

namespace Agent {
namespace {

using Kolvu::WireLayout::field;
using Octets = std::span<Zel::U8 const>;
using Header = Varnol::LlcHeader::Untagged;

constexpr std::size_t addressesAndLength = field<Header, "DSAP">.offset;
/// The largest number that is a length, IEEE 802.3 3.2.6.
constexpr Zel::U16 maxLength = 1500;
/// A service VLAN tag, IEEE 802.1Q-2014 Table 9-1.
constexpr Zel::U16 serviceTagProtocol = 0x88a8;
/// The LLC address that begins a SNAP header, as destination and as source.
constexpr Zel::U8 snapSap = 0xaa;

/// The frame's LLC header and BPDU: what its length counts.
std::variant<Octets, Refusal> counted(Octets captured) noexcept {
    if (captured.size() < addressesAndLength)
        return Refusal::tooShort;
    const auto head = captured.first<addressesAndLength>();
    if (field<Header, "Destination Address">.decode(head) != Varnol::LlcHeader::bridgeGroupAddress)
        return Refusal::destination;
    const Zel::U16 length = field<Header, "Length">.decode(head);
    if (length == Varnol::LlcHeader::vlanTagProtocol || length == serviceTagProtocol)
        return Refusal::tagged;
    if (length > maxLength)
        return Refusal::notLength;
    const Octets rest = captured.subspan<addressesAndLength>();
    if (length > rest.size())
        return Refusal::lengthAboveCaptured;
    return rest.first(length);
}

/// Why these are not an LLC header and a BPDU.
std::optional<Refusal> llcRefusal(Octets llc) noexcept {
    if (llc.size() < Varnol::LlcHeader::llcOctets)
        return Refusal::lengthBelowLlc;
    if (llc[0] == snapSap && llc[1] == snapSap)
        return Refusal::snap;
    if (llc[0] != Varnol::LlcHeader::spanningTreeSap ||
        llc[1] != Varnol::LlcHeader::spanningTreeSap)
        return Refusal::sap;
    if (llc[2] != Varnol::LlcHeader::unnumberedInformation)
        return Refusal::control;
    return std::nullopt;
}

/// The number of MSTI records of the MST BPDU that this is, if it is one: IEEE 802.1Q-2014 14.5.
std::optional<std::size_t> mstRecords(Octets bpdu) noexcept {
    if (bpdu.size() < MstLayout::octets)
        return std::nullopt;
    const auto mst = bpdu.first<MstLayout::octets>();
    if (field<MstLayout, "Version 1 Length">.decode(mst) != 0)
        return std::nullopt;
    const std::size_t version3 = field<MstLayout, "Version 3 Length">.decode(mst);
    if (version3 < MstLayout::version3Octets)
        return std::nullopt;
    const std::size_t octets = version3 - MstLayout::version3Octets;
    const std::size_t records = octets / MstiLayout::octets;
    if (octets % MstiLayout::octets != 0 || records > ReceivedBpdu::maxMstis ||
        octets > bpdu.size() - MstLayout::octets)
        return std::nullopt;
    return records;
}

/// What configuration, RST and MST BPDUs begin with. That of an MST BPDU leaves the transmitting
/// bridge to be read.
void readVector(std::span<Zel::U8 const, ConfigurationLayout::octets> bpdu,
                ReceivedBpdu& to) noexcept {
    using Layout = ConfigurationLayout;
    to.flags = field<Layout, "Flags">.decode(bpdu);
    to.rootId = field<Layout, "Root Identifier">.decode(bpdu);
    to.rootPathCost = field<Layout, "Root Path Cost">.decode(bpdu);
    to.bridgeId = field<Layout, "Bridge Identifier">.decode(bpdu);
    to.portId = field<Layout, "Port Identifier">.decode(bpdu);
    to.messageAge = field<Layout, "Message Age">.decode(bpdu);
    to.maxAge = field<Layout, "Max Age">.decode(bpdu);
    to.helloTime = field<Layout, "Hello Time">.decode(bpdu);
    to.fwdDelay = field<Layout, "Forward Delay">.decode(bpdu);
}

MstiRecord readMsti(std::span<Zel::U8 const, MstiLayout::octets> record) noexcept {
    using Layout = MstiLayout;
    const Zel::U8 bridgePriority = field<Layout, "MSTI Bridge Priority">.decode(record);
    const Zel::U8 portPriority = field<Layout, "MSTI Port Priority">.decode(record);
    return {
        .flags = field<Layout, "MSTI Flags">.decode(record),
        .regionalRootId = field<Layout, "MSTI Regional Root Identifier">.decode(record),
        .internalRootPathCost = field<Layout, "MSTI Internal Root Path Cost">.decode(record),
        .bridgePriority = static_cast<Zel::U16>(bridgePriority >> 4),
        .portPriority = static_cast<Zel::U8>(portPriority >> 4),
        .remainingHops = field<Layout, "MSTI Remaining Hops">.decode(record),
    };
}

/// What an MST BPDU has besides the beginning that it shares with others.
/// @param bpdu  has that number of records
void readMst(Octets bpdu, std::size_t records, ReceivedBpdu& to) noexcept {
    using Layout = MstLayout;
    const auto mst = bpdu.first<Layout::octets>();
    to.regionalRootId = field<Layout, "CIST Regional Root Identifier">.decode(mst);
    to.bridgeId = field<Layout, "CIST Bridge Identifier">.decode(mst);
    to.configurationId = {
        .formatSelector = field<Layout, "Configuration Identifier Format Selector">.decode(mst),
        .name = field<Layout, "Configuration Name">.decode(mst).octets,
        .revisionLevel = field<Layout, "Revision Level">.decode(mst),
        .digest = Stp::MstpConfigDigest(field<Layout, "Configuration Digest">.decode(mst).octets),
    };
    to.internalRootPathCost = field<Layout, "CIST Internal Root Path Cost">.decode(mst);
    to.remainingHops = field<Layout, "CIST Remaining Hops">.decode(mst);
    to.mstiCount = static_cast<Zel::U8>(records);
    for (std::size_t i = 0; i < records; ++i)
        to.mstiRecords[i] = readMsti(
            bpdu.subspan(Layout::octets + i * MstiLayout::octets).first<MstiLayout::octets>());
}

/// Reads a BPDU of that source, type and version.
std::optional<Refusal> readConfiguration(Octets bpdu, ReceivedBpdu& to) noexcept {
    if (bpdu.size() < ConfigurationLayout::octets)
        return Refusal::configurationTruncated;
    readVector(bpdu.first<ConfigurationLayout::octets>(), to);
    if (to.messageAge.units() >= to.maxAge.units())
        return Refusal::messageAge;
    to.kind = BpduKind::configuration;
    return std::nullopt;
}

std::optional<Refusal> readRstOrMst(Octets bpdu, ReceivedBpdu& to) noexcept {
    if (to.version < Stp::StpBpduVersion::rstp)
        return Refusal::version;
    if (bpdu.size() < Stp::RstpLayout::octets)
        return Refusal::rstTruncated;
    readVector(bpdu.first<ConfigurationLayout::octets>(), to);
    to.kind = BpduKind::rst;
    if (to.version < Stp::StpBpduVersion::mstp)
        return std::nullopt;
    if (const auto records = mstRecords(bpdu)) {
        readMst(bpdu, *records, to);
        to.kind = BpduKind::mst;
    }
    return std::nullopt;
}

std::optional<Refusal> readBpdu(Octets bpdu, ReceivedBpdu& to) noexcept {
    if (bpdu.size() < TcnLayout::octets)
        return Refusal::headerTruncated;
    const auto head = bpdu.first<TcnLayout::octets>();
    if (field<TcnLayout, "Protocol Identifier">.decode(head) != 0)
        return Refusal::protocolIdentifier;
    to.version = field<TcnLayout, "Protocol Version Identifier">.decode(head);
    to.type = field<TcnLayout, "BPDU Type">.decode(head);
    if (to.type == Stp::StpBpduType::config)
        return readConfiguration(bpdu, to);
    if (to.type == Stp::StpBpduType::rst)
        return readRstOrMst(bpdu, to);
    if (to.type != Stp::StpBpduType::topologyChangeNotice)
        return Refusal::type;
    to.kind = BpduKind::topologyChangeNotification;
    return std::nullopt;
}

} // namespace

std::variant<ReceivedBpdu, Refusal> parseFrame(Octets captured) noexcept {
    const auto llc = counted(captured);
    if (auto const* refusal = std::get_if<Refusal>(&llc))
        return *refusal;
    const Octets octets = *std::get_if<Octets>(&llc);
    if (const auto refusal = llcRefusal(octets))
        return *refusal;

    ReceivedBpdu bpdu;
    bpdu.source = field<Header, "Source Address">.decode(captured.first<addressesAndLength>());
    if (const auto refusal = readBpdu(octets.subspan(Varnol::LlcHeader::llcOctets), bpdu))
        return *refusal;
    return bpdu;
}

} // namespace Agent
