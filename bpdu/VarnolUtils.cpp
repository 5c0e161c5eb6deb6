#include "bpdu/VarnolUtils.h"

#include "bpdu/LlcHeader.h"
#include "framework/zel/Exception.h"
#include "framework/zel/Fatal.h"
#include "framework/zel/Trace.h"
#include "platform/stp/RstpBpdu.h"

namespace Varnol {
namespace {

constinit Zel::TraceHandle traceHandle("Varnol", false);

constexpr const char* getPktSignature =
    "Kolvu::Pkt::Ptr Varnol::VarnolGetPkt(Bridging::VlanIdOrNone, Kolvu::EthAddr, U32, "
    "Stp::CommonBpdu**)";
constexpr const char* getPvstPktSignature =
    "Kolvu::Pkt::Ptr Varnol::VarnolGetPvstPkt(Stp::MstPortSm*, U32, Stp::CommonBpdu**, "
    "Bridging::VlanIdOrNone)";
constexpr const char* generatePktSignature =
    "Kolvu::Pkt::Ptr Varnol::generatePktFromIntxInfo(Stp::MstPortSm::Ptr, Varnol::IntxInfo::Ptr, "
    "bool)";

constexpr const char* filterSignature =
    "bool Varnol::mstBpdufilterPkt(Zel::Ptr<const Stp::PortConfig>, "
    "Zel::Ptr<const Stp::StpiPortStatus>, Zel::Ptr<const Stp::Config>)";

/// A bridge priority as IEEE 802.1D-2004 9.2.5 bounds it.
class BridgePriority {
  public:
    explicit BridgePriority(U16 value)
        : value_(value) {
        if (value_ > max) // not covered: no 16-bit multiple of 4096 is above
            Zel::throwRangeException(outOfRange); // not covered: the same
    }
    U16 value() const noexcept { return value_; }

  private:
    static constexpr U16 max = 61440;
    static constexpr const char* outOfRange =
        "BridgePriority::value < BridgePriority::minBridgePriority or "
        "> BridgePriority::maxBridgePriority not allowed";
    U16 value_;
};

void writeRstBpdu(Stp::RstpBpdu bpdu, IntxMstiInfo const& cist) {
    bpdu.protocolIdentifierIs(0);
    bpdu.versionIs(Stp::StpBpduVersion::rstp);
    bpdu.typeIs(Stp::StpBpduType::rst);
    bpdu.rstpFlagsIs(cist.flags());
    bpdu.rootIdIs(cist.cistRootBridgeId());
    bpdu.rootPathCostIs(cist.cistExtRootPathCost());
    bpdu.bridgeIdIs(cist.bridgeId());
    bpdu.portIdIs(cist.portId());
    bpdu.messageAgeIs(cist.messageAge());
    bpdu.maxAgeIs(cist.maxAge());
    bpdu.helloTimeIs(cist.helloTime());
    bpdu.fwdDelayIs(cist.fwdDelay());
    bpdu.version1LengthIs(0);
}

/// VarnolGetPkt() for all callers: inlined, so that what is known of the arguments is not asked
/// for.
[[gnu::always_inline]] inline Kolvu::Pkt::Ptr getPkt(Bridging::VlanIdOrNone vlan,
                                                     Kolvu::EthAddr const& srcMac, U32 size,
                                                     Stp::CommonBpdu** bpdu) {
    Zel::trace(
        traceHandle, 8,
        [&](Zel::TraceStream& out) {
            out << "VarnolGetPkt"
                << ": called for vlan " << vlan << " src mac: " << srcMac << " size: " << size;
        },
        __builtin_FILE(), __builtin_LINE(), "VarnolGetPkt");
    if (vlan != 0)
        Zel::assertionFailed("!vlan", getPktSignature);
    if (size > LlcHeader::maxBpduOctets)
        Zel::throwRangeException("the length field of a frame holds no BPDU above 65532 octets");

    const U32 bpduOffset = LlcHeader::octets(vlan);
    Kolvu::Pkt::Ptr pkt = Kolvu::globalPktManager().newPkt(bpduOffset + size);
    if (!pkt) [[unlikely]] {
        Zel::trace(
            traceHandle, 3, [](Zel::TraceStream& out) { out << "Packet allocation failed"; },
            __builtin_FILE(), __builtin_LINE(), "VarnolGetPkt");
        return nullptr;
    }
    U8* const frame = pkt->ioVec().base;
    LlcHeader::write(frame, vlan, srcMac, size);
    *bpdu = Stp::CommonBpdu::at(frame + bpduOffset);
    return pkt;
}

} // namespace

// cppcheck-suppress passedByValue ; six octets, in a register
Kolvu::Pkt::Ptr VarnolGetPkt(Bridging::VlanIdOrNone vlan, Kolvu::EthAddr srcMac, U32 size,
                             Stp::CommonBpdu** bpdu) {
    return getPkt(vlan, srcMac, size, bpdu);
}

Kolvu::Pkt::Ptr generatePktFromIntxInfo(Stp::MstPortSm::Ptr port, IntxInfo::Ptr info, bool tagged) {
    Zel::trace(traceHandle, 8, [&](Zel::TraceStream& out) {
        out << "generatePktFromIntxInfo"
            << ": Called for " << info.ptr() << " tagged: " << tagged;
    });
    if (!info)
        Zel::assertionFailed("info", generatePktSignature);
    if (info->stpVersion() != Stp::StpBpduVersion::rstp)
        Zel::assertionFailed("0", generatePktSignature);
    if (info->vlanId() != 0)
        Zel::assertionFailed("vlan == 0", generatePktSignature);
    if (tagged)
        Zel::assertionFailed("!tagged", generatePktSignature);
    if (!port)
        Zel::assertionFailed("port", generatePktSignature);
    if (!port->port()) // not covered: a state machine is not made without a port
        Zel::assertionFailed("port", generatePktSignature); // not covered: the same
    const Stp::Port::Ptr sender = port->port();

    Stp::CommonBpdu* bpdu = nullptr;
    Kolvu::Pkt::Ptr pkt = getPkt(0, sender->ethAddr(), Stp::RstpBpdu::octets, &bpdu);
    if (!pkt) [[unlikely]] {
        Zel::trace(traceHandle, 2,
                   [](Zel::TraceStream& out) { out << "generateBpdu: failed to allocate pkt "; });
        return nullptr;
    }
    const Zel::Ptr<IntxMstiInfo const> cist = info->mstiN(0);
    if (!cist)
        Zel::assertionFailed("cist", generatePktSignature);
    writeRstBpdu(Stp::RstpBpdu(bpdu->octets<Stp::RstpBpdu::octets>()), *cist);
    return pkt;
}

Kolvu::Pkt::Ptr VarnolGetPvstPkt(Stp::MstPortSm*, U32, Stp::CommonBpdu**, Bridging::VlanIdOrNone) {
    Zel::trace(traceHandle, 8, [](Zel::TraceStream& out) { out << getPvstPktSignature; });
    return nullptr;
}

bool mstBpdufilterPkt(Zel::Ptr<Stp::PortConfig const> portConfig,
                      Zel::Ptr<Stp::StpiPortStatus const> portStatus,
                      Zel::Ptr<Stp::Config const> config) {
    if (!portConfig)
        Zel::assertionFailed("portConfig", filterSignature);
    const Stp::BpduFilter filter = portConfig->bpduFilter();
    if (filter == Stp::BpduFilter::enabled)
        return true;
    if (filter != Stp::BpduFilter::notSet)
        return false;
    if (!portConfig->adminEdge() || !portStatus || !portStatus->operEdge())
        return false;
    if (!config)
        Zel::assertionFailed("config", filterSignature);
    return config->edgePortBpduFilter();
}

U16 bridgePriority(Stp::CompressedBridgePriority compressed) {
    return BridgePriority(static_cast<U16>(compressed.value() << 12)).value();
}

U8 portPriority(Stp::CompressedPortPriority compressed) {
    return static_cast<U8>(compressed.value() << 4);
}

bool logSpanTreeIntf(Interface::IntfLoggingMode first, Interface::IntfLoggingMode second) {
    using enum Interface::IntfLoggingMode;
    return second == on || (second == useDefault && first == on);
}

} // namespace Varnol
