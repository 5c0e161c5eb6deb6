// Frames that the library builds, octet by octet: every value of each field of two octets and of
// both halves of longer ones, with any values in the others; every length; every VLAN tag.
//
//   verify-frames [--seed N] [--part N]
//   verify-frames --defined [--seed N] [--part N]
//
// The latter, to be run under valgrind, asks it besides whether every octet was written.

#include "bpdu/LlcHeader.h"
#include "tests/bpdu/FrameSample.h"
#include "verify/Verify.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define RUNNING_ON_VALGRIND 0
#define VALGRIND_CHECK_MEM_IS_DEFINED(octets, size) 0
#define VALGRIND_MAKE_MEM_UNDEFINED(octets, size) 0
#endif

namespace {

using Frames::Sample;
using Varnol::IntxInfo;
using Verify::Run;
using Zel::U16;
using Zel::U64;
using Zel::U8;

constexpr unsigned values = 65536; // of two octets

/// Two octets of a frame, or of what it is made from.
struct Field {
    const char* name;
    void (*set)(Sample& sample, U16 value);
};

template <std::size_t at> void putTwo(Sample::Address& address, U16 value) {
    address[at] = static_cast<U8>(value >> 8);
    address[at + 1] = static_cast<U8>(value);
}

constexpr Field fields[] = {
    {"source address, octets 1 and 2", [](Sample& s, U16 value) { putTwo<0>(s.source, value); }},
    {"source address, octets 3 and 4", [](Sample& s, U16 value) { putTwo<2>(s.source, value); }},
    {"source address, octets 5 and 6", [](Sample& s, U16 value) { putTwo<4>(s.source, value); }},
    {"flags and port priority",
     [](Sample& s, U16 value) {
         s.flags = static_cast<U8>(value >> 8);
         s.portPriority = static_cast<U8>(value);
     }},
    {"root priority", [](Sample& s, U16 value) { s.rootPriority = value; }},
    {"root extension", [](Sample& s, U16 value) { s.rootExtension = value; }},
    {"root address, octets 1 and 2", [](Sample& s, U16 value) { putTwo<0>(s.rootAddress, value); }},
    {"root address, octets 3 and 4", [](Sample& s, U16 value) { putTwo<2>(s.rootAddress, value); }},
    {"root address, octets 5 and 6", [](Sample& s, U16 value) { putTwo<4>(s.rootAddress, value); }},
    {"path cost, high half",
     [](Sample& s, U16 value) { s.cost = (s.cost & 0xffff) | Zel::U32{value} << 16; }},
    {"path cost, low half", [](Sample& s, U16 value) { s.cost = (s.cost & 0xffff0000) | value; }},
    {"bridge priority", [](Sample& s, U16 value) { s.bridgePriority = value; }},
    {"bridge extension", [](Sample& s, U16 value) { s.bridgeExtension = value; }},
    {"bridge address, octets 1 and 2",
     [](Sample& s, U16 value) { putTwo<0>(s.bridgeAddress, value); }},
    {"bridge address, octets 3 and 4",
     [](Sample& s, U16 value) { putTwo<2>(s.bridgeAddress, value); }},
    {"bridge address, octets 5 and 6",
     [](Sample& s, U16 value) { putTwo<4>(s.bridgeAddress, value); }},
    {"port number", [](Sample& s, U16 value) { s.portNumber = value; }},
    {"message age", [](Sample& s, U16 value) { s.messageAge = value; }},
    {"max age", [](Sample& s, U16 value) { s.maxAge = value; }},
    {"hello time", [](Sample& s, U16 value) { s.helloTime = value; }},
    {"forward delay", [](Sample& s, U16 value) { s.fwdDelay = value; }},
};

// Of the source address 3; of each of the two bridge identifiers the priority, the extension and 3
// of the address; 2 of the path cost; the flags with the port's priority, and its number; the 4
// times.
static_assert(std::size(fields) == 3 + 2 * (1 + 1 + 3) + 2 + 1 + 1 + 4);

/// Compares octets with what they are to be, after asking valgrind whether they were written.
void compare(std::span<U8 const> got, std::span<U8 const> expected, const char* what, U64 value) {
    const auto text = [&] { return std::string(what) + " = " + std::to_string(value); };
    if (got.size() != expected.size())
        Verify::found(text() + ": " + std::to_string(got.size()) + " octets");
    if (const auto at = static_cast<U64>(VALGRIND_CHECK_MEM_IS_DEFINED(got.data(), got.size())))
        Verify::found(text() + ": octet " + std::to_string(at - reinterpret_cast<U64>(got.data())) +
                      " is undefined");
    if (!std::ranges::equal(got, expected))
        Verify::found(text() + ":\n" + Frames::hex(got) + " instead of\n" + Frames::hex(expected));
}

/// Makes octets other ones, and undefined: a packet to come may have its frame there.
void spoil(std::span<U8> octets) {
    for (U8& octet : octets)
        octet = static_cast<U8>(~octet);
    static_cast<void>(VALGRIND_MAKE_MEM_UNDEFINED(octets.data(), octets.size()));
}

/// Builds frames of RST BPDUs, all in the same octets of memory.
class Sender {
  public:
    explicit Sender(Run& run)
        : run_(run) {
        record_->mstiNIs(1);
    }

    void send(Sample const& sample, const char* what, U64 value) {
        sample.giveTo(*port_->port(), *record_->mstiN(0));
        giveTheRest();
        const Kolvu::Pkt::Ptr frame = Varnol::generatePktFromIntxInfo(port_, record_, false);
        Verify::expect(frame != nullptr, "no packet");
        compare(frame->data(), sample.octets(), what, value);
        Verify::expect(sent_ == 0 || frame->data().data() == spoilt_,
                       "the frame is not where the one before it was spoilt");
        spoil(frame->data());
        spoilt_ = frame->data().data();
        ++sent_;
    }

    U64 sent() const { return sent_; }

  private:
    /// What a record says that an RST BPDU does not.
    void giveTheRest() {
        const U64 any = run_.random()();
        const auto octet = [any](int at) { return static_cast<U8>(any >> at); };
        const auto two = [any](int at) { return static_cast<U16>(any >> at); };
        record_->intxInfoTypeIs(octet(0));
        record_->configRevisionLevelIs(two(8));
        record_->neighborAddrIs({octet(0), octet(8), octet(16), octet(24), octet(32), octet(40)});
        const Stp::BridgeId bridge(two(0), two(16), {});
        for (const U16 instance : {U16{0}, U16{1}}) {
            const Varnol::IntxMstiInfo::Ptr entry = record_->mstiN(instance);
            entry->cistRegionalRootBridgeIdIs(bridge);
            entry->intRootPathCostIs(static_cast<Zel::U32>(any));
            entry->regionalRootBridgeIdIs(bridge);
            entry->remainingHopsIs(octet(24));
        }
        record_->mstiN(1)->flagsIs(octet(32));
        record_->mstiN(1)->bridgeIdIs(bridge);
    }

    Run& run_;
    const Stp::MstPortSm::Ptr port_ = Frames::portWith();
    const IntxInfo::Ptr record_ = Frames::sendableRecord();
    U8 const* spoilt_ = nullptr;
    U64 sent_ = 0;
};

/// Each value of each field, so many times.
/// @return frames sent
U64 sendAllValues(Run& run, U64 rounds) {
    Sender sender(run);
    for (U64 round = 0; round < rounds; ++round) {
        for (Field const& field : fields) {
            for (unsigned value = 0; value < values; ++value) {
                Sample sample = Sample::random(run.random());
                field.set(sample, static_cast<U16>(value));
                sender.send(sample, field.name, value);
            }
        }
    }
    return sender.sent();
}

/// The header as IEEE 802.1D-2004 9.2 and IEEE 802.1Q-2014 9.6 name its octets.
template <std::size_t octets>
std::array<U8, octets> header(Sample::Address const& source, std::array<U8, octets - 12> rest) {
    std::array<U8, octets> all{0x01, 0x80, 0xc2, 0x00, 0x00, 0x00};
    std::ranges::copy(rest, std::ranges::copy(source, all.begin() + 6).out);
    return all;
}

constexpr Sample::Address someSource{0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c};

/// A frame for a BPDU of each size that a length field can count.
/// @return frames built
U64 buildAllLengths() {
    U64 built = 0;
    for (unsigned length = 3; length < values; ++length) {
        Stp::CommonBpdu* bpdu = nullptr;
        const unsigned size = length - 3;
        const Kolvu::Pkt::Ptr frame = Varnol::VarnolGetPkt(0, Frames::portAddress, size, &bpdu);
        Verify::expect(frame && frame->data().size() == 17 + std::size_t{size} &&
                           Frames::standsAt(bpdu, frame, 17),
                       "a frame has another size, or its BPDU another place");
        const std::span<U8> head = frame->data().first(17);
        compare(head,
                header<17>(someSource, {static_cast<U8>(length >> 8), static_cast<U8>(length), 0x42,
                                        0x42, 0x03}),
                "length", length);
        spoil(head);
        ++built;
    }
    return built;
}

/// The header with each VLAN; no frame has one as yet.
/// @return headers written
U64 writeAllTags() {
    std::array<U8, 21> head{};
    U64 written = 0;
    for (unsigned vlan = 1; vlan < values; ++vlan) {
        spoil(head);
        Varnol::LlcHeader::write(head.data(), static_cast<U16>(vlan), Frames::portAddress, 36);
        compare(head,
                header<21>(someSource, {0x81, 0x00, static_cast<U8>(0xe0 | (vlan >> 8 & 0x0f)),
                                        static_cast<U8>(vlan), 0, 39, 0x42, 0x42, 0x03}),
                "vlan", vlan);
        ++written;
    }
    return written;
}

std::string sendAll(Run& run) {
    using Verify::grouped;
    const U64 rounds = run.times(16);
    const U64 sent = sendAllValues(run, rounds);
    const U64 lengths = buildAllLengths();
    const U64 tags = writeAllTags();
    Verify::expect(sent == std::size(fields) * rounds * values, "not every frame was sent");
    Verify::expect(lengths == 65533, "not every length from 3 on was seen");
    Verify::expect(tags == 65535, "not every VLAN from 1 on was seen");
    return "every value of each 16-bit field, and every flags octet with every port priority, in " +
           grouped(sent) + " frames; " + grouped(lengths) + " lengths; " + grouped(tags) +
           " VLAN tags";
}

std::string sendAllDefined(Run& run) {
    Verify::expect(RUNNING_ON_VALGRIND, "this does not run under valgrind, or was built without");
    const std::string done = sendAll(run);
    return "all octets defined under valgrind: " + done;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::string_view(argv[1]) != "--defined")
        return Run::main(argc, argv, sendAll);
    argv[1] = argv[0];
    return Run::main(argc - 1, argv + 1, sendAllDefined);
}
