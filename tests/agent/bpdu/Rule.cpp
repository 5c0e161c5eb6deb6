#include "tests/agent/bpdu/Rule.h"

#include "agent/bpdu/Parse.h"

#include <algorithm>

namespace Rule {

using Agent::BpduKind;
using Agent::Refusal;
using Zel::U8;

std::variant<Taken, Refusal> verdict(std::span<U8 const> f) {
    const auto two = [&](std::size_t at) { return std::size_t(f[at]) * 256 + f[at + 1]; };
    if (f.size() < 14)
        return Refusal::tooShort;
    const U8 group[] = {0x01, 0x80, 0xc2, 0x00, 0x00, 0x00};
    if (!std::equal(group, group + 6, f.begin()))
        return Refusal::destination;
    const std::size_t length = two(12);
    if (length == 0x8100 || length == 0x88a8)
        return Refusal::tagged;
    if (length >= 1501)
        return Refusal::notLength;
    const std::size_t end = 14 + length; // of the BPDU, in the frame
    if (f.size() < end)
        return Refusal::lengthAboveCaptured;
    if (length < 3)
        return Refusal::lengthBelowLlc;
    if (two(14) != 0x4242)
        return two(14) == 0xaaaa ? Refusal::snap : Refusal::sap;
    if (f[16] != 3)
        return Refusal::control;
    if (end < 21)
        return Refusal::headerTruncated;
    if (two(17) != 0)
        return Refusal::protocolIdentifier;
    const unsigned version = f[19];
    switch (f[20]) {
    case 0x00:
        if (end < 52)
            return Refusal::configurationTruncated;
        if (two(44) >= two(46))
            return Refusal::messageAge;
        return Taken{BpduKind::configuration, 0};
    case 0x80:
        return Taken{BpduKind::topologyChangeNotification, 0};
    case 0x02:
        if (version < 2)
            return Refusal::version;
        if (end < 53)
            return Refusal::rstTruncated;
        if (version > 2 && end >= 119 && f[52] == 0)
            for (std::size_t mstis = 0; mstis <= 64 && 119 + 16 * mstis <= end; ++mstis)
                if (two(53) == 64 + 16 * mstis)
                    return Taken{BpduKind::mst, mstis};
        return Taken{BpduKind::rst, 0};
    default:
        return Refusal::type;
    }
}

std::vector<U8> written(Agent::ReceivedBpdu const& bpdu) {
    std::vector<U8> octets;
    const auto put = [&octets](std::size_t size, Zel::U64 number) {
        while (size-- > 0)
            octets.push_back(static_cast<U8>(number >> 8 * size));
    };
    const auto putAll = [&octets](auto const& of) {
        octets.insert(octets.end(), of.begin(), of.end());
    };
    const auto putBridge = [&](Stp::BridgeId const& id) {
        put(2, id.priority() + id.systemIdExtension());
        putAll(id.address().octets());
    };
    const bool mst = bpdu.kind == BpduKind::mst;
    put(2, 0);
    put(1, bpdu.version.value());
    put(1, bpdu.type.value());
    if (bpdu.kind == BpduKind::topologyChangeNotification)
        return octets;
    put(1, bpdu.flags.value());
    putBridge(bpdu.rootId);
    put(4, bpdu.rootPathCost.value());
    putBridge(mst ? bpdu.regionalRootId : bpdu.bridgeId);
    put(2, bpdu.portId.priority() * 256U + bpdu.portId.number());
    for (const Stp::TimerVal time : {bpdu.messageAge, bpdu.maxAge, bpdu.helloTime, bpdu.fwdDelay})
        put(2, time.units());
    if (!mst)
        return octets;
    put(1, 0);
    put(2, 64 + 16U * bpdu.mstiCount);
    put(1, bpdu.configurationId.formatSelector);
    putAll(bpdu.configurationId.name);
    put(2, bpdu.configurationId.revisionLevel);
    putAll(bpdu.configurationId.digest.octets());
    put(4, bpdu.internalRootPathCost.value());
    putBridge(bpdu.bridgeId);
    put(1, bpdu.remainingHops);
    for (Agent::MstiRecord const& msti : bpdu.mstis()) {
        put(1, msti.flags.value());
        putBridge(msti.regionalRootId);
        put(4, msti.internalRootPathCost.value());
        put(1, msti.bridgePriority.value() * 16U);
        put(1, msti.portPriority.value() * 16U);
        put(1, msti.remainingHops);
    }
    return octets;
}

namespace {

/// What a BPDU that is no MST BPDU says, without what it cannot say.
Agent::ReceivedBpdu withoutTheRest(Agent::ReceivedBpdu const& bpdu) {
    Agent::ReceivedBpdu said;
    said.kind = bpdu.kind;
    said.source = bpdu.source;
    said.version = bpdu.version;
    said.type = bpdu.type;
    if (bpdu.kind == BpduKind::topologyChangeNotification)
        return said;
    said.flags = bpdu.flags;
    said.rootId = bpdu.rootId;
    said.rootPathCost = bpdu.rootPathCost;
    said.bridgeId = bpdu.bridgeId;
    said.portId = bpdu.portId;
    said.messageAge = bpdu.messageAge;
    said.maxAge = bpdu.maxAge;
    said.helloTime = bpdu.helloTime;
    said.fwdDelay = bpdu.fwdDelay;
    return said;
}

} // namespace

std::string_view contradiction(std::span<U8 const> frame) {
    const auto parsed = Agent::parseFrame(frame);
    const auto expected = verdict(frame);
    if (parsed.index() != expected.index())
        return "taken where it should be refused, or the other way round";
    if (const auto* refusal = std::get_if<Refusal>(&parsed))
        return *refusal == std::get<Refusal>(expected) ? "" : "refused for another reason";
    Agent::ReceivedBpdu const& bpdu = std::get<Agent::ReceivedBpdu>(parsed);
    if (Taken{bpdu.kind, bpdu.mstiCount} != std::get<Taken>(expected))
        return "taken as another kind, or with another number of records";
    if (!std::ranges::equal(bpdu.source.octets(), frame.subspan(6, 6)))
        return "the source is another";
    const std::vector<U8> again = written(bpdu);
    for (std::size_t i = 0; i < again.size(); ++i) {
        // Below an MSTI's priorities are bits that a receiver ignores.
        const std::size_t inRecord = i < 102 ? 0 : (i - 102) % 16;
        const unsigned mask = inRecord == 13 || inRecord == 14 ? 0xf0 : 0xff;
        if ((frame[17 + i] & mask) != again[i])
            return "a field has another value";
    }
    const auto rest = std::span(bpdu.mstiRecords).subspan(bpdu.mstiCount);
    if (std::ranges::any_of(rest, [](auto const& msti) { return msti != Agent::MstiRecord{}; }))
        return "there is something behind the last record";
    if (bpdu.kind != BpduKind::mst && bpdu != withoutTheRest(bpdu))
        return "there is something that its kind of BPDU does not have";
    return "";
}

} // namespace Rule
