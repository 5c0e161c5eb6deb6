#include "tests/agent/bpdu/ReadAlike.h"

#include "examples/bridge/Capture.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/bpdu/Parsed.h"
#include "tests/bpdu/Programs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

namespace Agent {
namespace {

using Frames::Octets;

std::string text(unsigned number) { return std::to_string(number); }

std::string hexadecimal(unsigned number, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%0*x", digits, number);
    return text;
}

template <class Range> std::string digits(Range const& octets, const char* between) {
    std::string text;
    for (const unsigned octet : octets)
        text += (text.empty() ? "" : between) + hexadecimal(octet, 2).substr(2);
    return text;
}

std::string address(Kolvu::EthAddr const& address) { return digits(address.octets(), ":"); }

/// tshark shows a time in seconds, with decimals enough to tell 1/256 s apart. This one is as
/// tshark's in units, so that both can be compared.
std::string units(std::string const& seconds) {
    char* end = nullptr;
    const double time = std::strtod(seconds.c_str(), &end);
    if (seconds.empty() || *end != '\0')
        return "no time: " + seconds;
    return text(static_cast<unsigned>(std::lround(time * 256)));
}
std::string asIs(std::string const& text) { return text; }

/// A field of tshark's.
struct Field {
    const char* name;
    std::string (*read)(std::string const& shown);
    /// What it is to be; empty for a BPDU that does not have it.
    std::function<std::string(ReceivedBpdu const&)> expected;
};

bool hasVector(ReceivedBpdu const& bpdu) {
    return bpdu.kind != BpduKind::topologyChangeNotification;
}
bool isMst(ReceivedBpdu const& bpdu) { return bpdu.kind == BpduKind::mst; }

/// A field that only BPDUs have that fulfil a condition.
template <bool (*has)(ReceivedBpdu const&), class Expected>
Field fieldIf(const char* name, Expected expected, decltype(Field::read) read = asIs) {
    return {name, read,
            [expected](ReceivedBpdu const& bpdu) { return has(bpdu) ? expected(bpdu) : ""; }};
}
template <class Expected>
Field ofVector(const char* name, Expected expected, decltype(Field::read) read = asIs) {
    return fieldIf<hasVector>(name, expected, read);
}
template <class Expected> Field ofMst(const char* name, Expected expected) {
    return fieldIf<isMst>(name, expected);
}
/// A field of MSTI records: their values with commas between them.
template <class Expected> Field ofMstis(const char* name, Expected expected) {
    return ofMst(name, [expected](ReceivedBpdu const& bpdu) {
        std::string all;
        for (MstiRecord const& msti : bpdu.mstis())
            all += (all.empty() ? "" : ",") + expected(msti);
        return all;
    });
}

std::vector<Field> const& fields() {
    using Bpdu = ReceivedBpdu const&;
    using Msti = MstiRecord const&;
    static const std::vector<Field> all{
        {"eth.src", asIs, [](Bpdu b) { return address(b.source); }},
        {"stp.protocol", asIs, [](Bpdu) { return "0x0000"; }},
        {"stp.version", asIs, [](Bpdu b) { return text(b.version.value()); }},
        {"stp.type", asIs, [](Bpdu b) { return hexadecimal(b.type.value(), 2); }},
        {"_ws.malformed", asIs, [](Bpdu) { return ""; }},
        ofVector("stp.flags", [](Bpdu b) { return hexadecimal(b.flags.value(), 2); }),
        ofVector("stp.root.prio", [](Bpdu b) { return text(b.rootId.priority()); }),
        ofVector("stp.root.ext", [](Bpdu b) { return text(b.rootId.systemIdExtension()); }),
        ofVector("stp.root.hw", [](Bpdu b) { return address(b.rootId.address()); }),
        ofVector("stp.root.cost", [](Bpdu b) { return text(b.rootPathCost.value()); }),
        ofVector(
            "stp.port",
            [](Bpdu b) { return hexadecimal(b.portId.priority() * 256U + b.portId.number(), 4); }),
        ofVector(
            "stp.msg_age", [](Bpdu b) { return text(b.messageAge.units()); }, units),
        ofVector(
            "stp.max_age", [](Bpdu b) { return text(b.maxAge.units()); }, units),
        ofVector(
            "stp.hello", [](Bpdu b) { return text(b.helloTime.units()); }, units),
        ofVector(
            "stp.forward", [](Bpdu b) { return text(b.fwdDelay.units()); }, units),
        // What the standard calls the CIST Regional Root Identifier in an MST BPDU.
        ofVector(
            "stp.bridge.prio",
            [](Bpdu b) { return text((isMst(b) ? b.regionalRootId : b.bridgeId).priority()); }),
        ofVector("stp.bridge.ext",
                 [](Bpdu b) {
                     return text((isMst(b) ? b.regionalRootId : b.bridgeId).systemIdExtension());
                 }),
        ofVector(
            "stp.bridge.hw",
            [](Bpdu b) { return address((isMst(b) ? b.regionalRootId : b.bridgeId).address()); }),
        ofMst("mstp.version_3_length", [](Bpdu b) { return text(64 + 16U * b.mstiCount); }),
        ofMst("mstp.config_format_selector",
              [](Bpdu b) { return text(b.configurationId.formatSelector); }),
        ofMst("mstp.config_name", [](Bpdu b) { return std::string(b.configurationId.nameText()); }),
        ofMst("mstp.config_revision_level",
              [](Bpdu b) { return text(b.configurationId.revisionLevel); }),
        ofMst("mstp.config_digest",
              [](Bpdu b) { return digits(b.configurationId.digest.octets(), ""); }),
        ofMst("mstp.cist_internal_root_path_cost",
              [](Bpdu b) { return text(b.internalRootPathCost.value()); }),
        ofMst("mstp.cist_bridge.prio", [](Bpdu b) { return text(b.bridgeId.priority()); }),
        ofMst("mstp.cist_bridge.ext", [](Bpdu b) { return text(b.bridgeId.systemIdExtension()); }),
        ofMst("mstp.cist_bridge.hw", [](Bpdu b) { return address(b.bridgeId.address()); }),
        ofMst("mstp.cist_remaining_hops", [](Bpdu b) { return text(b.remainingHops); }),
        ofMstis("mstp.msti.flags", [](Msti m) { return hexadecimal(m.flags.value(), 2); }),
        ofMstis("mstp.msti.priority",
                [](Msti m) { return hexadecimal(m.regionalRootId.priority() >> 12, 2); }),
        ofMstis("mstp.msti.msti_id", [](Msti m) { return text(m.instance().value()); }),
        ofMstis("mstp.msti.root.hw", [](Msti m) { return address(m.regionalRootId.address()); }),
        ofMstis("mstp.msti.root_cost", [](Msti m) { return text(m.internalRootPathCost.value()); }),
        ofMstis("mstp.msti.bridge_priority", [](Msti m) { return text(m.bridgePriority.value()); }),
        ofMstis("mstp.msti.port_priority", [](Msti m) { return text(m.portPriority.value()); }),
        ofMstis("mstp.msti.remaining_hops", [](Msti m) { return text(m.remainingHops); }),
    };
    return all;
}

/// What tcpdump prints of a frame, IEEE 802.1D-2004's names put in tcpdump's words.
std::string tcpdumpText(ReceivedBpdu const& bpdu, std::size_t octets) {
    const auto bridge = [](Stp::BridgeId const& id) {
        return hexadecimal(unsigned{id.priority()} + id.systemIdExtension(), 4).substr(2) + "." +
               address(id.address());
    };
    const auto seconds = [](Stp::TimerVal timer) {
        char text[16];
        std::snprintf(text, sizeof(text), "%.2fs", timer.units() / 256.0);
        return std::string(text);
    };
    const std::string head = address(bpdu.source) + " > 01:80:c2:00:00:00, 802.3, length " +
                             std::to_string(octets + 3) +
                             ": LLC, dsap STP (0x42) Individual, ssap STP (0x42) Command, ctrl "
                             "0x03: STP ";
    if (bpdu.kind == BpduKind::topologyChangeNotification)
        return head + "802.1d, Topology Change\n";
    const bool isRst = bpdu.kind == BpduKind::rst;
    std::string flags;
    const auto flag = [&](bool set, const char* name) {
        if (set)
            flags += (flags.empty() ? "" : ", ") + std::string(name);
    };
    flag(bpdu.flags.topologyChange(), "Topology change");
    flag(bpdu.flags.proposal(), "Proposal");
    flag(bpdu.flags.learning(), "Learn");
    flag(bpdu.flags.forwarding(), "Forward");
    flag(bpdu.flags.agreement(), "Agreement");
    flag(bpdu.flags.topologyChangeAck(), "Topology change ACK");
    constexpr const char* roles[] = {"Unknown", "Alternate", "Root", "Designated"};
    const unsigned port = bpdu.portId.priority() * 256U + bpdu.portId.number();
    return head + (isRst ? "802.1w, Rapid STP" : "802.1d, Config") + ", Flags [" +
           (flags.empty() ? "none" : flags) + "], bridge-id " + bridge(bpdu.bridgeId) + "." +
           hexadecimal(port, 4).substr(2) + ", length " + std::to_string(octets) +
           "\n\tmessage-age " + seconds(bpdu.messageAge) + ", max-age " + seconds(bpdu.maxAge) +
           ", hello-time " + seconds(bpdu.helloTime) + ", forwarding-delay " +
           seconds(bpdu.fwdDelay) + "\n\troot-id " + bridge(bpdu.rootId) + ", root-pathcost " +
           std::to_string(bpdu.rootPathCost.value()) +
           (isRst
                ? std::string(", port-role ") + roles[static_cast<unsigned>(bpdu.flags.portRole())]
                : "") +
           "\n";
}

} // namespace

void expectTsharkReadsAlike(std::vector<Octets> const& frames) {
    const Examples::TemporaryFolder folder;
    const auto capture = folder.path() / "frames.pcap";
    Examples::writeCapture(capture, frames);
    std::vector<std::string> names;
    for (Field const& field : fields())
        names.push_back(field.name);
    const std::vector<Programs::Row> rows = Programs::readByTshark(capture, names);
    ASSERT_EQ(rows.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE("frame " + text(static_cast<unsigned>(i)) + ": " + digits(frames[i], " "));
        const ReceivedBpdu bpdu = taken(frames[i]);
        ASSERT_EQ(rows[i].size(), fields().size());
        for (std::size_t column = 0; column < names.size(); ++column) {
            Field const& field = fields()[column];
            EXPECT_EQ(rows[i][column].empty() ? "" : field.read(rows[i][column]),
                      field.expected(bpdu))
                << field.name;
        }
    }
}

void expectTcpdumpReadsAlike(std::vector<Octets> const& frames) {
    const Examples::TemporaryFolder folder;
    const auto capture = folder.path() / "frames.pcap";
    Examples::writeCapture(capture, frames);
    std::string expected;
    for (Octets const& frame : frames) {
        const auto length = static_cast<std::size_t>(frame.at(12) << 8 | frame.at(13));
        expected += tcpdumpText(taken(frame), length - 3);
    }
    const Programs::Output printed = Programs::outputOf(
        "tcpdump -n -t -e -vvv -Z \"$(id -un)\" -r '" + capture.string() + "' 2>/dev/null");
    EXPECT_EQ(printed.status, 0) << "tcpdump is missing or failed";
    EXPECT_EQ(printed.text, expected);
}

} // namespace Agent
