#include "agent/control/Traces.h"

#include "agent/control/JsonView.h"
#include "agent/control/TextView.h"
#include "framework/zel/Trace.h"
#include "tests/agent/Golden.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace Agent::Test {
namespace {

/// The agent's and the library's traces all off, before and after.
class Traces : public testing::Test {
  protected:
    Traces() { Zel::traceSettingsAre("*/off"); }
    ~Traces() override { Zel::traceSettingsAre("*/off"); }

    std::string levels(std::string const& handle) {
        for (Zel::TraceHandleLevels const& one : tracesView().handles)
            if (one.handle == handle)
                return levelsText(one.on);
        return "no such handle";
    }
};

TEST_F(Traces, AreThoseOfTheLibraryAndTheAgentAlsoBeforeTheySpeak) {
    for (const char* handle : {"StpAgent", "StpRxStatusSyncer", "StpTxStatusSyncer", "Varnol"})
        EXPECT_EQ(levels(handle), "-") << handle;
    Zel::traceSettingsAre("Stp*Syncer/8,Varnol/3,StpRx*/0");
    Zel::traceLevelIs("Varnol", 5, true);
    EXPECT_EQ(levels("StpAgent"), "-");
    EXPECT_EQ(levels("StpRxStatusSyncer"), "0");
    EXPECT_EQ(levels("StpTxStatusSyncer"), "0-8");
    EXPECT_EQ(levels("Varnol"), "0-3,5");
}

TEST_F(Traces, AreThoseOfFurtherHandlesThatHaveSpoken) {
    EXPECT_EQ(levels("ASpeaker"), "no such handle");
    Zel::TraceHandle handle("ASpeaker", false);
    EXPECT_FALSE(handle.levelIsOn(0));
    EXPECT_EQ(levels("ASpeaker"), "-");
    EXPECT_EQ(checkTraces("ASpeaker/5"), "");
}

TEST_F(Traces, AreListedOnceAndByName) {
    const auto handles = tracesView().handles;
    EXPECT_GE(handles.size(), 4u);
    EXPECT_EQ(std::ranges::adjacent_find(handles, std::ranges::greater_equal(),
                                         &Zel::TraceHandleLevels::handle),
              handles.end());
}

TEST_F(Traces, ATextIsCheckedForWhatItSaysAndForHandlesThatThereAre) {
    EXPECT_EQ(checkTraces("StpAgent/5"), "");
    EXPECT_EQ(checkTraces("Stp*/8,Varnol/3,*/off"), "");
    EXPECT_EQ(checkTraces("Stp*/8,Varnol/x"),
              "trace levels, octet 15: 'x' is no level; allowed: 0 to 9, or off");
    const std::string wrong = checkTraces("Stp*/8,NoSuch*/3");
    EXPECT_TRUE(wrong.starts_with("'NoSuch*' matches no trace handle; there are: ")) << wrong;
    for (const char* handle : {"StpAgent", "StpRxStatusSyncer", "StpTxStatusSyncer", "Varnol"})
        EXPECT_NE(wrong.find(handle), std::string::npos) << handle;
    EXPECT_EQ(levels("StpAgent"), "-"); // checked only
}

TEST(TraceLevels, AreShownAsRanges) {
    EXPECT_EQ(levelsText(0), "-");
    EXPECT_EQ(levelsText(0x001), "0");
    EXPECT_EQ(levelsText(0x200), "9");
    EXPECT_EQ(levelsText(0x3ff), "0-9");
    EXPECT_EQ(levelsText(0x12f), "0-3,5,8");
    EXPECT_EQ(levelsText(0x306), "1-2,8-9");
}

TEST(TraceLevels, AreListedOneByOne) {
    EXPECT_EQ(levelsOf(0), std::vector<unsigned>{});
    EXPECT_EQ(levelsOf(0x32d), (std::vector<unsigned>{0, 2, 3, 5, 8, 9}));
}

const TracesView shownTraces{{{"StpAgent", 0x3f}, {"Varnol", 0}},
                             {{"Stp*", false, 0x3f, 0x3c0}, {"Varnol", true, 0, 0x100}},
                             3};

TEST(TextView, ShowsTheTraces) {
    EXPECT_EQ(tracesText(shownTraces), "Handle    Levels\n"
                                       "StpAgent  0-5\n"
                                       "Varnol    -\n"
                                       "\n"
                                       "Pattern  On   Off\n"
                                       "Stp*     0-5  6-9\n"
                                       "Varnol   -    8\n"
                                       "\n"
                                       "Lost: 3\n");
}

TEST(TextView, ShowsTheTracesAsItsDocumentDoes) {
    constexpr Zel::U32 to8 = 0x1ff;
    constexpr Zel::U32 to3 = 0xf;
    const std::string text = tracesText({{{"StpAgent", to8},
                                          {"StpRxStatusSyncer", to8},
                                          {"StpTxStatusSyncer", to8},
                                          {"Varnol", to3}},
                                         Zel::traceSettingsOf("Stp*/8,Varnol/3"),
                                         0});
    EXPECT_NE(contents(SOURCES "/docs/agent.md").find("\n```text\n" + text + "```\n"),
              std::string::npos)
        << text;
}

TEST(JsonView, HasTheTraces) {
    std::string json = tracesJson(shownTraces);
    std::erase_if(json, [](char c) { return c == ' ' || c == '\n'; });
    EXPECT_EQ(json, "[{\"handles\":[{\"handle\":\"StpAgent\",\"levels\":[0,1,2,3,4,5]},"
                    "{\"handle\":\"Varnol\",\"levels\":[]}],"
                    "\"settings\":[{\"pattern\":\"Stp*\",\"is_name\":false,\"on\":[0,1,2,3,4,5],"
                    "\"off\":[6,7,8,9]},"
                    "{\"pattern\":\"Varnol\",\"is_name\":true,\"on\":[],\"off\":[8]}],"
                    "\"lost\":3}]");
}

} // namespace
} // namespace Agent::Test
