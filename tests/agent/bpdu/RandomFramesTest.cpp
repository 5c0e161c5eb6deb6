// Frames with changes at random, judged a second time.

#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Parsed.h"
#include "tests/agent/bpdu/Rule.h"

#include <gtest/gtest.h>

#include <array>
#include <iomanip>
#include <sstream>

namespace Agent {
namespace {

std::string hex(Frames::Octets const& octets) {
    std::ostringstream text;
    for (const unsigned octet : octets)
        text << std::hex << std::setw(2) << std::setfill('0') << octet;
    return text.str();
}

class RandomFrames : public testing::TestWithParam<unsigned> {};
/// Together a million.
INSTANTIATE_TEST_SUITE_P(OfSeed, RandomFrames, testing::Range(1U, 9U));
constexpr int framesOfSeed = 125000;

TEST_P(RandomFrames, AreTakenAndRefusedAsTheRuleSays) {
    std::mt19937 engine(GetParam());
    std::array<unsigned, refusals> refused{};
    std::array<unsigned, 4> kinds{};
    for (int i = 0; i < framesOfSeed; ++i) {
        const Frames::Octets octets = Frames::changed(engine);
        const auto verdict = Rule::verdict(octets);
        if (auto const* why = std::get_if<Refusal>(&verdict))
            ++refused[static_cast<std::size_t>(*why)];
        else
            ++kinds[static_cast<std::size_t>(std::get<Rule::Taken>(verdict).kind)];
        const std::string_view contradiction = Rule::contradiction(octets);
        ASSERT_EQ(contradiction, "") << "frame " << i << ": " << hex(octets);
    }
    // Each way out was taken, or the changes are too tame.
    for (std::size_t i = 0; i < refusals; ++i) {
        if (const auto refusal = static_cast<Refusal>(i); refusal != Refusal::ownFrame) {
            EXPECT_GT(refused[i], 10U) << name(refusal);
        }
    }
    for (std::size_t i = 0; i < kinds.size(); ++i)
        EXPECT_GT(kinds[i], 1000U) << name(static_cast<BpduKind>(i));
}

} // namespace
} // namespace Agent
