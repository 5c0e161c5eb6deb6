// What stands around a BPDU: addresses, length, LLC header, padding.

#include "agent/bpdu/Parse.h"

#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Parsed.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

using Frames::frame;
using Frames::Octets;
using Frames::with;
using Frames::withLength;

const Octets rstFrame = frame(Frames::rst);

Octets firstOf(Octets const& octets, std::size_t size) {
    return {octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(size)};
}

Octets padded(Octets octets, std::size_t size, Zel::U8 padding = 0) {
    octets.resize(size, padding);
    octets.shrink_to_fit();
    return octets;
}

TEST(Frame, BelowFourteenOctetsIsTooShort) {
    for (std::size_t size = 0; size < 14; ++size)
        EXPECT_EQ(refusal(firstOf(rstFrame, size)), Refusal::tooShort) << size;
}

TEST(Frame, OfFourteenOctetsAndMoreIsRefusedForWhatItsLengthCounts) {
    for (std::size_t size = 14; size <= 16; ++size) {
        const Octets octets = firstOf(rstFrame, size);
        EXPECT_EQ(refusal(octets), Refusal::lengthAboveCaptured) << size;
        for (unsigned length = 0; length <= size - 14; ++length)
            EXPECT_EQ(refusal(withLength(octets, length)), Refusal::lengthBelowLlc)
                << size << " octets, length " << length;
    }
}

TEST(Frame, CutShortAnywhereIsRefused) {
    for (Octets const& whole : {rstFrame, frame(Frames::configuration), frame(Frames::notification),
                                frame(Frames::mstWith(2))}) {
        EXPECT_TRUE(isTaken(whole));
        for (std::size_t size = 14; size < whole.size(); ++size)
            EXPECT_EQ(refusal(firstOf(whole, size)), Refusal::lengthAboveCaptured)
                << size << " of " << whole.size();
    }
}

TEST(Frame, EndsWhereItsLengthSaysForEveryLengthUpToForty) {
    for (unsigned length = 0; length <= 40; ++length) {
        const auto refused = [&] { return refusal(withLength(rstFrame, length)); };
        SCOPED_TRACE(length);
        if (length < 3)
            EXPECT_EQ(refused(), Refusal::lengthBelowLlc);
        else if (length < 3 + 4)
            EXPECT_EQ(refused(), Refusal::headerTruncated);
        else if (length < 3 + 36)
            EXPECT_EQ(refused(), Refusal::rstTruncated);
        else if (length == 3 + 36)
            EXPECT_TRUE(isTaken(withLength(rstFrame, length)));
        else
            EXPECT_EQ(refused(), Refusal::lengthAboveCaptured);
    }
}

TEST(Frame, MayBeOfAnyLengthUpTo1500WhenAllOfItWasCaptured) {
    const Octets longest = padded(rstFrame, 14 + 1500);
    for (unsigned length = 39; length <= 1500; ++length) {
        EXPECT_TRUE(isTaken(withLength(longest, length))) << length;
        EXPECT_EQ(refusal(withLength(padded(rstFrame, 14 + length - 1), length)),
                  Refusal::lengthAboveCaptured)
            << length;
    }
}

TEST(Frame, WithAnythingAbove1500ForALengthIsRefused) {
    Octets octets = padded(rstFrame, 14 + 65536);
    for (unsigned length = 1501; length <= 65535; ++length) {
        Frames::put16(octets, 12, length);
        const bool tag = length == 0x8100 || length == 0x88a8;
        ASSERT_EQ(refusal(octets), tag ? Refusal::tagged : Refusal::notLength) << length;
    }
}

TEST(Frame, WithAVlanTagIsRefusedWhateverFollows) {
    for (Octets const& tag : {Octets{0x81, 0x00, 0xe0, 0x05}, Octets{0x88, 0xa8, 0x00, 0x00}}) {
        Octets octets = rstFrame;
        octets.insert(octets.begin() + 12, tag.begin(), tag.end());
        EXPECT_EQ(refusal(octets), Refusal::tagged);
        EXPECT_EQ(refusal(firstOf(octets, 14)), Refusal::tagged);
    }
}

TEST(Frame, ToAnyAddressButTheBridgeGroupsIsRefused) {
    for (std::size_t at = 0; at < 6; ++at) {
        for (unsigned bit = 0; bit < 8; ++bit)
            EXPECT_EQ(refusal(with(rstFrame, at, rstFrame[at] ^ 1U << bit)), Refusal::destination)
                << "octet " << at << " bit " << bit;
    }
    const std::array<Zel::U8, 6> others[]{
        {0x01, 0x80, 0xc2, 0x00, 0x00, 0x08}, // the provider bridge group address
        {0x01, 0x00, 0x0c, 0xcc, 0xcc, 0xcd}, // of a per-VLAN protocol
        {0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
        {0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
    };
    for (auto const& other : others) {
        Octets octets = rstFrame;
        std::ranges::copy(other, octets.begin());
        EXPECT_EQ(refusal(octets), Refusal::destination);
    }
}

TEST(Frame, OfAnyOtherPairOfLlcAddressesIsRefused) {
    Octets octets = rstFrame;
    for (unsigned pair = 0; pair <= 0xffff; ++pair) {
        Frames::put16(octets, 14, pair);
        if (pair == 0x4242)
            EXPECT_TRUE(isTaken(octets));
        else
            ASSERT_EQ(refusal(octets), pair == 0xaaaa ? Refusal::snap : Refusal::sap) << pair;
    }
}

TEST(Frame, OfAPerVlanProtocolIsRefusedForItsSnapHeader) {
    Octets octets = rstFrame;
    constexpr std::array<Zel::U8, 8> snap{0xaa, 0xaa, 0x03, 0x00, 0x00, 0x0c, 0x01, 0x0b};
    octets.erase(octets.begin() + 14, octets.begin() + 17);
    octets.insert(octets.begin() + 14, snap.begin(), snap.end());
    EXPECT_EQ(refusal(withLength(octets, 8 + 36)), Refusal::snap);
}

TEST(Frame, OfAnyLlcControlButUnnumberedInformationIsRefused) {
    for (unsigned control = 0; control <= 0xff; ++control) {
        if (control == 0x03)
            EXPECT_TRUE(isTaken(with(rstFrame, 16, control)));
        else
            EXPECT_EQ(refusal(with(rstFrame, 16, control)), Refusal::control) << control;
    }
}

TEST(Frame, SaysTheSameWithAnyPadding) {
    for (Octets const& octets : {rstFrame, frame(Frames::configuration),
                                 frame(Frames::notification), frame(Frames::mstWith(1))}) {
        const ReceivedBpdu bpdu = taken(octets);
        for (const Zel::U8 padding : std::to_array<Zel::U8>({0x00, 0x02, 0xff})) {
            for (std::size_t size = octets.size(); size < octets.size() + 70; ++size)
                ASSERT_EQ(taken(padded(octets, size, padding)), bpdu) << size;
        }
    }
}

TEST(Frame, IsNotCompletedFromItsPadding) {
    const auto lessOne = [](Octets octets) {
        const auto length = static_cast<Zel::U32>(octets.size() - 14 - 1);
        return withLength(padded(std::move(octets), 2000), length);
    };
    EXPECT_EQ(refusal(lessOne(rstFrame)), Refusal::rstTruncated);
    EXPECT_EQ(refusal(lessOne(frame(Frames::configuration))), Refusal::configurationTruncated);
    EXPECT_EQ(refusal(lessOne(frame(Frames::notification))), Refusal::headerTruncated);
    EXPECT_EQ(taken(lessOne(frame(Frames::mst))).kind, BpduKind::rst);
    EXPECT_EQ(taken(lessOne(frame(Frames::mstWith(3)))).kind, BpduKind::rst);
}

TEST(Frame, IsRefusedForTheFirstReasonThatApplies) {
    // All is wrong, and is put right from the front.
    Octets octets(60, 0xff);
    const auto right = [&](std::size_t from, std::size_t size) {
        std::copy_n(rstFrame.begin() + static_cast<std::ptrdiff_t>(from), size,
                    octets.begin() + static_cast<std::ptrdiff_t>(from));
        return refusal(octets);
    };
    EXPECT_EQ(refusal(octets), Refusal::destination);
    EXPECT_EQ(right(0, 6), Refusal::notLength);
    EXPECT_EQ(right(12, 2), Refusal::sap);
    EXPECT_EQ(right(14, 2), Refusal::control);
    EXPECT_EQ(right(16, 1), Refusal::protocolIdentifier);
    EXPECT_EQ(right(17, 2), Refusal::type);
    octets[19] = 0;
    EXPECT_EQ(right(20, 1), Refusal::version);
    Frames::put16(octets, 12, 38);
    EXPECT_EQ(right(19, 1), Refusal::rstTruncated);
}

} // namespace
} // namespace Agent
