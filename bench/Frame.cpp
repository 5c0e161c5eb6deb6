#include "bench/Rows.h"
#include "bench/Values.h"
#include "bpdu/VarnolUtils.h"

#include <cstdlib>
#include <cstring>
#include <span>

#include <tins/dot3.h>
#include <tins/llc.h>
#include <tins/rawpdu.h>
#include <tins/stp.h>

/// frame: a record's CIST entry becomes a frame of 53 octets, which is released again.
namespace Bench {
namespace {

constexpr Kolvu::EthAddr portAddress{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};
constexpr U8 group[] = {0x01, 0x80, 0xc2, 0x00, 0x00, 0x00};
constexpr std::size_t frameOctets = 53;

std::string hex(std::span<U8 const> octets) {
    std::string text;
    for (const U8 octet : octets) {
        char pair[4];
        std::snprintf(pair, sizeof(pair), "%02x ", octet);
        text += pair;
    }
    return text;
}

U8 octet(unsigned i) { return static_cast<U8>(i); }

class Library {
  public:
    Library() {
        const Stp::Port::Ptr port(new Stp::Port);
        port->ethAddrIs(portAddress);
        port_ = Stp::MstPortSm::Ptr(new Stp::MstPortSm(port));
        fill(*record_, recordValues(1));
        fill(*cist_, entryValues(1));
    }
    void operator()(unsigned i) {
        cist_->flagsIs(octet(i));
        const Kolvu::Pkt::Ptr frame = Varnol::generatePktFromIntxInfo(port_, record_, false);
        benchmark::DoNotOptimize(frame->data().data());
    }
    std::string result() const {
        return hex(Varnol::generatePktFromIntxInfo(port_, record_, false)->data());
    }

  private:
    Stp::MstPortSm::Ptr port_;
    Varnol::IntxInfo::Ptr record_{new Varnol::IntxInfo(0)};
    Varnol::IntxMstiInfo::Ptr cist_ = record_->mstiNIs(0);
};

/// Writes numbers, most significant octet first, one after the other.
struct Writer {
    U8* at;

    void u8(U8 value) { *at++ = value; }
    void u16(unsigned value) {
        u8(static_cast<U8>(value >> 8));
        u8(static_cast<U8>(value));
    }
    void u32(U32 value) {
        u16(value >> 16);
        u16(value & 0xffff);
    }
    void octets(void const* from, std::size_t size) {
        std::memcpy(at, from, size);
        at += size;
    }
    void id(Stp::BridgeId const& id) {
        u16((id.priority() & 0xf000U) | (id.systemIdExtension() & 0x0fffU));
        octets(id.address().octets().data(), 6);
    }
};

/// 53 octets from malloc, written and freed.
class ByHand {
  public:
    void operator()(unsigned i) {
        cist_->flags = octet(i);
        U8* const frame = make();
        benchmark::DoNotOptimize(frame);
        benchmark::ClobberMemory();
        std::free(frame);
    }
    std::string result() const {
        U8* const frame = make();
        const std::string text = hex({frame, frameOctets});
        std::free(frame);
        return text;
    }

  private:
    U8* make() const {
        U8* const frame = static_cast<U8*>(std::malloc(frameOctets));
        if (!frame)
            std::abort();
        EntryValues const& cist = *cist_;
        Writer out{frame};
        out.octets(group, sizeof(group));
        out.octets(source_->octets().data(), 6);
        out.u16(39);
        out.u16(0x4242);
        out.u8(0x03);
        out.u16(0);
        out.u8(2);
        out.u8(2);
        out.u8(cist.flags.value());
        out.id(cist.cistRootBridgeId);
        out.u32(cist.cistExtRootPathCost.value());
        out.id(cist.bridgeId);
        out.u16((cist.portId.priority() & 0xf0U) << 8 | (cist.portId.number() & 0x0fffU));
        out.octets(cist.messageAge.octets().data(), 2);
        out.octets(cist.maxAge.octets().data(), 2);
        out.octets(cist.helloTime.octets().data(), 2);
        out.octets(cist.fwdDelay.octets().data(), 2);
        out.u8(0);
        return frame;
    }

    std::unique_ptr<Kolvu::EthAddr> source_ = std::make_unique<Kolvu::EthAddr>(portAddress);
    std::unique_ptr<EntryValues> cist_ = std::make_unique<EntryValues>(entryValues(1));
};

/// The parts are given to the frame as they are, which costs less than the operator that clones
/// them. The BPDU's last octet, Version 1 Length, has no place in libtins' STP, and follows it raw.
class Libtins {
  public:
    void operator()(unsigned i) {
        cist_->flags = octet(i);
        const std::vector<U8> frame = make();
        benchmark::DoNotOptimize(frame.data());
        benchmark::ClobberMemory();
    }
    std::string result() const { return hex(make()); }

  private:
    static Tins::STP::bpdu_id_type id(Stp::BridgeId const& id) {
        return {static_cast<U8>(id.priority() >> 12), id.systemIdExtension(),
                id.address().octets().data()};
    }
    static U16 seconds(Stp::TimerVal timer) { return timer.units() / 256; }

    std::vector<U8> make() const {
        static constexpr U8 version1Length[] = {0};
        EntryValues const& cist = *cist_;
        auto* const stp = new Tins::STP;
        stp->proto_id(0);
        stp->proto_version(2);
        stp->bpdu_type(2);
        stp->bpdu_flags(cist.flags.value());
        stp->root_id(id(cist.cistRootBridgeId));
        stp->root_path_cost(cist.cistExtRootPathCost.value());
        stp->bridge_id(id(cist.bridgeId));
        stp->port_id(static_cast<U16>((cist.portId.priority() & 0xf0U) << 8 |
                                      (cist.portId.number() & 0x0fffU)));
        stp->msg_age(seconds(cist.messageAge));
        stp->max_age(seconds(cist.maxAge));
        stp->hello_time(seconds(cist.helloTime));
        stp->fwd_delay(seconds(cist.fwdDelay));
        stp->inner_pdu(new Tins::RawPDU(version1Length, sizeof(version1Length)));
        auto* const llc = new Tins::LLC(0x42, 0x42);
        llc->type(Tins::LLC::UNNUMBERED);
        llc->modifier_function(Tins::LLC::UI);
        llc->inner_pdu(stp);
        Tins::Dot3 frame(group, source_->octets().data());
        frame.inner_pdu(llc);
        return frame.serialize();
    }

    std::unique_ptr<Kolvu::EthAddr> source_ = std::make_unique<Kolvu::EthAddr>(portAddress);
    std::unique_ptr<EntryValues> cist_ = std::make_unique<EntryValues>(entryValues(1));
};

} // namespace

void frame(Rows& rows) {
    rows.add<Library>("varnol/frame");
    rows.add<ByHand>("floor/frame");
    rows.add<Libtins>("peer/libtins/frame");
}

} // namespace Bench
