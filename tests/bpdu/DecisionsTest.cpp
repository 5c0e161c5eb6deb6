#include "bpdu/VarnolUtils.h"

#include "tests/bpdu/Frames.h"
#include "tests/framework/TraceCapture.h"

#include <initializer_list>
#include <optional>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace Varnol {
namespace {

static_assert(std::is_same_v<decltype(&VarnolGetPvstPkt),
                             Kolvu::Pkt::Ptr (*)(Stp::MstPortSm*, Zel::U32, Stp::CommonBpdu**,
                                                 Bridging::VlanIdOrNone)>);
static_assert(
    std::is_same_v<decltype(&mstBpdufilterPkt),
                   bool (*)(Zel::Ptr<Stp::PortConfig const>, Zel::Ptr<Stp::StpiPortStatus const>,
                            Zel::Ptr<Stp::Config const>)>);
static_assert(
    std::is_same_v<decltype(&bridgePriority), Zel::U16 (*)(Stp::CompressedBridgePriority)>);
static_assert(std::is_same_v<decltype(&portPriority), Zel::U8 (*)(Stp::CompressedPortPriority)>);
static_assert(std::is_same_v<decltype(&logSpanTreeIntf),
                             bool (*)(Interface::IntfLoggingMode, Interface::IntfLoggingMode)>);

TEST(VarnolGetPvstPkt, ReturnsNullAndTouchesNothing) {
    const Stp::MstPortSm::Ptr port = Frames::portWith();
    const U32 references = port->references();
    const U32 inUse = Kolvu::globalPktManager().inUse();
    for (Bridging::VlanIdOrNone vlan : std::initializer_list<U16>{0, 1, 4094}) {
        Frames::BpduOut bpdu;
        EXPECT_EQ(VarnolGetPvstPkt(port.ptr(), 36, bpdu.out(), vlan), nullptr);
        EXPECT_TRUE(bpdu.untouched());
    }
    EXPECT_EQ(VarnolGetPvstPkt(nullptr, 0, nullptr, 0), nullptr);
    EXPECT_EQ(port->references(), references);
    EXPECT_EQ(Kolvu::globalPktManager().inUse(), inUse);
}

TEST(VarnolGetPvstPkt, TracesItsSignatureAtLevel8AndNothingElse) {
    const TraceCapture capture("Varnol", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    const Frames::PoolOf none(0);
    VarnolGetPvstPkt(nullptr, 36, nullptr, 5);
    ASSERT_EQ(capture.records().size(), 1U);
    TraceCapture::Record const& record = capture.records().front();
    EXPECT_EQ(record.text, "Kolvu::Pkt::Ptr Varnol::VarnolGetPvstPkt(Stp::MstPortSm*, U32, "
                           "Stp::CommonBpdu**, Bridging::VlanIdOrNone)");
    EXPECT_EQ(record.level, 8U);
    EXPECT_EQ(record.handle, "Varnol");
    EXPECT_EQ(record.file, "VarnolUtils.cpp");
    EXPECT_EQ(record.function, "VarnolGetPvstPkt");
}

/// The inputs of the filter's decision; an edge state that is not there is a null status.
struct FilterInputs {
    U32 mode;
    bool adminEdge;
    std::optional<bool> operEdge;
    bool filterByDefault;
};

bool isFiltered(FilterInputs const& inputs) {
    const Stp::PortConfig::Ptr portConfig(new Stp::PortConfig);
    portConfig->bpduFilterIs(static_cast<Stp::BpduFilter>(inputs.mode));
    portConfig->adminEdgeIs(inputs.adminEdge);
    Stp::StpiPortStatus::Ptr portStatus;
    if (inputs.operEdge) {
        portStatus = Stp::StpiPortStatus::Ptr(new Stp::StpiPortStatus);
        portStatus->operEdgeIs(*inputs.operEdge);
    }
    const Stp::Config::Ptr config(new Stp::Config);
    config->edgePortBpduFilterIs(inputs.filterByDefault);
    const bool result = mstBpdufilterPkt(portConfig, portStatus, config);
    EXPECT_EQ(portConfig->references(), 1U);
    EXPECT_EQ(config->references(), 1U);
    return result;
}

TEST(MstBpdufilterPktDeathTest, ConfigurationsMustNotBeNull) {
    const Stp::PortConfig::Ptr portConfig(new Stp::PortConfig);
    portConfig->adminEdgeIs(true);
    const Stp::StpiPortStatus::Ptr portStatus(new Stp::StpiPortStatus);
    portStatus->operEdgeIs(true);
    const Stp::Config::Ptr config(new Stp::Config);
    EXPECT_EXIT(mstBpdufilterPkt(nullptr, nullptr, config), testing::KilledBySignal(SIGABRT),
                "Assertion `portConfig' failed");
    EXPECT_EXIT(mstBpdufilterPkt(portConfig, portStatus, nullptr), testing::KilledBySignal(SIGABRT),
                "Assertion `config' failed");
}

const std::optional<bool> operEdgeValues[] = {std::nullopt, false, true};

/// Calls visit(adminEdge, operEdge, filterByDefault) with every combination.
template <class F> void forAllEdgeInputs(F const& visit) {
    for (bool adminEdge : {false, true})
        for (std::optional<bool> operEdge : operEdgeValues)
            for (bool filterByDefault : {false, true})
                visit(adminEdge, operEdge, filterByDefault);
}

TEST(MstBpdufilterPkt, FiltersAlwaysWhereThePortSaysSo) {
    forAllEdgeInputs([](bool adminEdge, std::optional<bool> operEdge, bool byDefault) {
        EXPECT_TRUE(isFiltered({1, adminEdge, operEdge, byDefault}));
    });
}

TEST(MstBpdufilterPkt, FiltersNeverWhereThePortSaysNotToOrHasAnUnknownMode) {
    for (U32 mode : {2U, 3U, 4U, 0x100U, 0x10000U, 0x80000000U, 0x80000001U, 0xffffffffU}) {
        forAllEdgeInputs([&](bool adminEdge, std::optional<bool> operEdge, bool byDefault) {
            EXPECT_FALSE(isFiltered({mode, adminEdge, operEdge, byDefault})) << mode;
        });
    }
}

TEST(MstBpdufilterPkt, FiltersByDefaultOnAConfiguredAndOperationalEdgePortAlone) {
    EXPECT_TRUE(isFiltered({0, true, true, true}));

    EXPECT_FALSE(isFiltered({0, true, true, false}));
    EXPECT_FALSE(isFiltered({0, true, false, true}));
    EXPECT_FALSE(isFiltered({0, true, false, false}));
    EXPECT_FALSE(isFiltered({0, true, std::nullopt, true}));
    EXPECT_FALSE(isFiltered({0, true, std::nullopt, false}));
    EXPECT_FALSE(isFiltered({0, false, true, true}));
    EXPECT_FALSE(isFiltered({0, false, true, false}));
    EXPECT_FALSE(isFiltered({0, false, false, true}));
    EXPECT_FALSE(isFiltered({0, false, false, false}));
    EXPECT_FALSE(isFiltered({0, false, std::nullopt, true}));
    EXPECT_FALSE(isFiltered({0, false, std::nullopt, false}));
}

TEST(MstBpdufilterPkt, LooksAtTheGlobalConfigurationLast) {
    const Stp::PortConfig::Ptr port(new Stp::PortConfig);
    const Stp::StpiPortStatus::Ptr status(new Stp::StpiPortStatus);
    port->bpduFilterIs(Stp::BpduFilter::enabled);
    EXPECT_TRUE(mstBpdufilterPkt(port, nullptr, nullptr));
    port->bpduFilterIs(Stp::BpduFilter::disabled);
    EXPECT_FALSE(mstBpdufilterPkt(port, nullptr, nullptr));
    port->bpduFilterIs(Stp::BpduFilter::notSet);
    EXPECT_FALSE(mstBpdufilterPkt(port, nullptr, nullptr));
    port->adminEdgeIs(true);
    EXPECT_FALSE(mstBpdufilterPkt(port, nullptr, nullptr));
    EXPECT_FALSE(mstBpdufilterPkt(port, status, nullptr));
}

TEST(BridgePriority, IsTheLowFourBitsTimes4096ForAnyInputAndNeverOutOfRange) {
    for (U32 compressed = 0; compressed <= 0xffff; ++compressed) {
        ASSERT_EQ(bridgePriority(static_cast<U16>(compressed)), compressed % 16 * 4096);
    }
}

TEST(BridgePriority, WrapsAbove15) {
    EXPECT_EQ(bridgePriority(0), 0);
    EXPECT_EQ(bridgePriority(8), 32768);
    EXPECT_EQ(bridgePriority(15), 61440);
    EXPECT_EQ(bridgePriority(16), 0);
    EXPECT_EQ(bridgePriority(0xffff), 61440);
}

TEST(PortPriority, IsTheLowFourBitsTimes16ForAnyInput) {
    for (unsigned compressed = 0; compressed <= 0xff; ++compressed)
        EXPECT_EQ(portPriority(static_cast<U8>(compressed)), compressed % 16 * 16);
    EXPECT_EQ(portPriority(8), 128);
    EXPECT_EQ(portPriority(15), 240);
    EXPECT_EQ(portPriority(16), 0);
}

TEST(LogSpanTreeIntf, IsTrueWhereTheSecondModeIsZeroOrIsTwoAndTheFirstIsZero) {
    const auto isLogged = [](U32 first, U32 second) {
        return logSpanTreeIntf(static_cast<Interface::IntfLoggingMode>(first),
                               static_cast<Interface::IntfLoggingMode>(second));
    };
    constexpr bool expected[4][4] = {
        // second: 0      1      2      3
        {true, false, true, false},  // first 0
        {true, false, false, false}, // first 1
        {true, false, false, false}, // first 2
        {true, false, false, false}, // first 3
    };
    for (U32 first = 0; first < 4; ++first)
        for (U32 second = 0; second < 4; ++second)
            EXPECT_EQ(isLogged(first, second), expected[first][second]) << first << ", " << second;
    EXPECT_TRUE(isLogged(0xffffffff, 0));
    EXPECT_FALSE(isLogged(0x100, 2));
    EXPECT_FALSE(isLogged(0, 0x100));
    EXPECT_FALSE(isLogged(0, 0xffffffff));
}

TEST(Decisions, TraceNothing) {
    const TraceCapture capture("Varnol", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    isFiltered({0, true, true, true});
    isFiltered({1, true, true, true});
    bridgePriority(16);
    portPriority(16);
    logSpanTreeIntf(Interface::IntfLoggingMode::on, Interface::IntfLoggingMode::useDefault);
    EXPECT_TRUE(capture.records().empty());
}

} // namespace
} // namespace Varnol
