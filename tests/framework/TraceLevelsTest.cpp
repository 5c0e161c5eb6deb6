#include "framework/zel/TraceLevels.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Trace.h"
#include "framework/zel/TraceRegistry.h"
#include "tests/framework/EachAllocation.h"
#include "tests/framework/FailingAllocation.h"
#include "tests/framework/Thrown.h"
#include "tests/framework/TraceCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using Zel::TraceHandle;
using Zel::TraceSetting;

constexpr Zel::U32 all = 0x3ff;

/// The levels of a handle that are on; the handle has made itself known then.
Zel::U32 levelsOf(TraceHandle& handle) {
    const bool on[] = {handle.levelIsOn(0), handle.levelIsOn(1), handle.levelIsOn(2),
                       handle.levelIsOn(3), handle.levelIsOn(4), handle.levelIsOn(5),
                       handle.levelIsOn(6), handle.levelIsOn(7), handle.levelIsOn(8),
                       handle.levelIsOn(9)};
    Zel::U32 levels = 0;
    for (unsigned level = 0; level < std::size(on); ++level)
        levels |= on[level] ? 1u << level : 0u;
    return levels;
}

/// Bits 0 to n.
constexpr Zel::U32 upTo(unsigned n) { return (2u << n) - 1; }

std::string refusal(std::string const& text) {
    return textThrown<Zel::RangeException>([&] { Zel::traceSettingsOf(text); });
}

/// Whether a pattern matches a handle's name.
bool matches(std::string const& pattern, std::string const& name) {
    return Zel::traceSettingsOf(pattern + "/8").at(0).matches(name);
}

/// What is set for names that begin with "L:", which are this file's: that all are off, before and
/// after.
class TraceLevels : public testing::Test {
  protected:
    TraceLevels() { Zel::traceSettingsAre("L:*/off"); }
    ~TraceLevels() override { Zel::traceSettingsAre("L:*/off"); }

    std::vector<TraceSetting> settings() const {
        std::vector<TraceSetting> settings = Zel::traceSettings();
        std::erase_if(settings, [](TraceSetting const& setting) {
            return !setting.pattern.starts_with("L:");
        });
        return settings;
    }
};

// Patterns

TEST(TracePattern, WithoutAStarIsAHandlesName) {
    EXPECT_TRUE(matches("Varnol", "Varnol"));
    EXPECT_FALSE(matches("Varnol", "Varno"));
    EXPECT_FALSE(matches("Varnol", "Varnol2"));
    EXPECT_FALSE(matches("Varnol", "varnol"));
    EXPECT_FALSE(matches("Varnol", ""));
}

TEST(TracePattern, AStarStandsForAnyRunOfCharactersOrNone) {
    for (const char* name : {"Stp", "StpAgent", "Stp*", "Stp,/ \n\xc3\xa4"})
        EXPECT_TRUE(matches("Stp*", name)) << name;
    for (const char* name : {"St", "xStp", ""})
        EXPECT_FALSE(matches("Stp*", name)) << name;
    EXPECT_TRUE(matches("*Syncer", "StpTxStatusSyncer"));
    EXPECT_FALSE(matches("*Syncer", "StpTxStatusSyncers"));
    EXPECT_TRUE(matches("Stp*Syncer", "StpSyncer"));
    EXPECT_FALSE(matches("Stp*Syncer", "StpSynce"));
    EXPECT_TRUE(matches("*", ""));
    EXPECT_TRUE(matches("**", "any"));
    EXPECT_TRUE(matches("*ab*ab", "aababab"));
    EXPECT_FALSE(matches("*ab*ab", "aab"));
    EXPECT_TRUE(matches("a*b*c", "a-b-b-c-c"));
    EXPECT_FALSE(matches("a*b*c", "a-c-b"));
}

TEST(TracePattern, NoOtherCharacterIsSpecial) {
    EXPECT_FALSE(matches("Stp.", "StpX"));
    EXPECT_FALSE(matches("Stp?", "StpX"));
    EXPECT_FALSE(matches("[S]tp", "Stp"));
    EXPECT_FALSE(matches("\\*", "*"));
    for (const char* name : {"Stp.", "Stp?", "[S]tp", "^Stp$", "a/b", "\\", "M\xc3\xa4rz"})
        EXPECT_TRUE(matches(name, name)) << name;
}

TEST(TracePattern, MayHaveEachCharacterButBlanksCommasAndControlCharacters) {
    for (unsigned octet = 0x21; octet <= 0xff; ++octet) {
        const std::string character(1, static_cast<char>(octet));
        if (octet == ',' || octet == 0x7f)
            continue;
        EXPECT_TRUE(matches("a" + character, "a" + character)) << octet;
        EXPECT_TRUE(matches("*" + character, "a" + character)) << octet;
    }
}

TEST(TracePattern, EndsBeforeAZeroOctetOfAName) {
    using namespace std::string_view_literals;
    const TraceSetting setting = Zel::traceSettingsOf("*a/8").at(0);
    EXPECT_TRUE(setting.matches("b\0a"sv));
    EXPECT_FALSE(setting.matches("a\0"sv));
    EXPECT_FALSE(setting.matches("a\0b"sv));
}

TEST(TracePattern, MatchesAsTheDefinitionOfAStarDoes) {
    std::mt19937 random(8);
    const auto word = [&random](std::string const& letters) {
        std::string text;
        for (auto length = random() % 8 + 1; length > 0; --length)
            text += letters[random() % letters.size()];
        return text;
    };
    struct Model {
        static bool matches(std::string_view pattern, std::string_view text) {
            if (pattern.empty())
                return text.empty();
            if (pattern[0] != '*')
                return !text.empty() && text[0] == pattern[0] &&
                       matches(pattern.substr(1), text.substr(1));
            return matches(pattern.substr(1), text) ||
                   (!text.empty() && matches(pattern, text.substr(1)));
        }
    };
    unsigned matching = 0;
    for (unsigned i = 0; i < 20000; ++i) {
        const std::string pattern = word("ab**");
        const std::string text = word("ab");
        const bool does = Model::matches(pattern, text);
        ASSERT_EQ(matches(pattern, text), does) << pattern << " " << text;
        matching += does ? 1 : 0;
    }
    EXPECT_GT(matching, 1000u);
    EXPECT_LT(matching, 19000u);
}

// Texts

TEST(TraceLevelsText, IsReadInItsOrder) {
    const std::vector<TraceSetting> settings = Zel::traceSettingsOf("Stp*/8,Varnol/0,a/b/off,*/9");
    ASSERT_EQ(settings.size(), 4u);
    EXPECT_EQ(settings[0], (TraceSetting{"Stp*", false, upTo(8), all & ~upTo(8)}));
    EXPECT_EQ(settings[1], (TraceSetting{"Varnol", true, upTo(0), all & ~upTo(0)}));
    EXPECT_EQ(settings[2], (TraceSetting{"a/b", true, 0, all}));
    EXPECT_EQ(settings[3], (TraceSetting{"*", false, all, 0}));
}

TEST(TraceLevelsText, ThatIsMalformedSaysWhatIsWrongAndWhere) {
    const std::string at = "trace levels, octet ";
    EXPECT_EQ(refusal(""), at + "1: nothing is there; allowed: pattern/level, as Stp*/8");
    EXPECT_EQ(refusal("Stp*/8,"), at + "8: nothing is there; allowed: pattern/level, as Stp*/8");
    EXPECT_EQ(refusal("Stp*/8,,x/1"),
              at + "8: nothing is there; allowed: pattern/level, as Stp*/8");
    EXPECT_EQ(refusal("Stp*/8,Varnol"),
              at + "8: 'Varnol' has no level; allowed: pattern/level, as Stp*/8");
    EXPECT_EQ(refusal("/5"), at + "1: no pattern is there; allowed: pattern/level, as Stp*/8");
    EXPECT_EQ(refusal("a/1,b c/2"), at + "6: a blank or control character is in a pattern");
    EXPECT_EQ(refusal("a/1, b/2"), at + "5: a blank or control character is in a pattern");
    EXPECT_EQ(refusal("a\x7f/1"), at + "2: a blank or control character is in a pattern");
    EXPECT_EQ(refusal("a\n/1"), at + "2: a blank or control character is in a pattern");
    for (const char* level :
         {"", "10", "a", "-", ":", "-1", "+1", "08", "8 ", "OFF", "on", "of", "offf"})
        EXPECT_EQ(refusal("Stp*/8,Varnol/" + std::string(level)),
                  at + "15: '" + level + "' is no level; allowed: 0 to 9, or off");
    EXPECT_EQ(refusal(std::string("a/\0\x1b", 4)),
              at + "3: '\?\?' is no level; allowed: 0 to 9, or off");
}

TEST(TraceLevelsText, ThatIsMalformedIsToldInAnyLength) {
    const std::string at = "trace levels, octet ";
    for (std::size_t size = 1; size <= 70; ++size) {
        const std::string octets(size, 'x');
        EXPECT_EQ(refusal(octets),
                  at + "1: '" + octets + "' has no level; allowed: pattern/level, as Stp*/8");
        EXPECT_EQ(refusal(octets + "/" + octets), at + std::to_string(size + 2) + ": '" + octets +
                                                      "' is no level; allowed: 0 to 9, or off");
    }
}

TEST(TraceLevelsText, SettingsAreEqualWhereAllOfThemIs) {
    const TraceSetting setting{"a", true, 1, 2};
    EXPECT_TRUE(setting == (TraceSetting{"a", true, 1, 2}));
    EXPECT_FALSE(setting == (TraceSetting{"b", true, 1, 2}));
    EXPECT_FALSE(setting == (TraceSetting{"a", false, 1, 2}));
    EXPECT_FALSE(setting == (TraceSetting{"a", true, 3, 2}));
    EXPECT_FALSE(setting == (TraceSetting{"a", true, 1, 3}));
}

TEST(TraceHandles, AreEqualWhereNameAndLevelsAre) {
    const Zel::TraceHandleLevels levels{"a", 1};
    EXPECT_TRUE(levels == (Zel::TraceHandleLevels{"a", 1}));
    EXPECT_FALSE(levels == (Zel::TraceHandleLevels{"b", 1}));
    EXPECT_FALSE(levels == (Zel::TraceHandleLevels{"a", 2}));
}

TEST(TraceRegistry, HasNoSettingsUntilSomeAreMade) {
    Zel::TraceRegistry registry;
    EXPECT_TRUE(registry.settings().empty());
    EXPECT_FALSE(registry.level("L:any", 1));
}

/// What a registry's first setting does when it cannot be remembered, and when it can.
/// @param first  makes the setting: level 3 of "first" on
void expectFirstSetting(Zel::TraceRegistry& registry, std::function<void()> const& first) {
    constexpr Zel::U32 bit = 1u << 3;
    bool isMade = false;
    for (std::size_t n = 1; !isMade && n < 10; ++n) {
        EXPECT_TRUE(registry.settings().empty());
        EXPECT_FALSE(registry.level("first", bit));
        const FailingAllocation failing(n);
        try {
            first();
            isMade = true;
            EXPECT_FALSE(failing.happened());
        } catch (std::bad_alloc const&) {
            if (!failing.happened())
                throw;
        }
    }
    EXPECT_TRUE(isMade);
    EXPECT_EQ(registry.settings().size(), 1u);
    EXPECT_TRUE(registry.level("first", bit));
    EXPECT_FALSE(registry.level("other", bit));
}

/// A registry that, as the process's own, is never destroyed, with what it has made.
Zel::TraceRegistry& newRegistry() {
    static auto& registries = *new std::deque<Zel::TraceRegistry>;
    return registries.emplace_back();
}

TEST(TraceRegistry, TheFirstNameIsRememberedOrNothingIs) {
    Zel::TraceRegistry& registry = newRegistry();
    expectFirstSetting(registry, [&] { registry.levelIs("first", 1u << 3, true); });
}

TEST(TraceRegistry, TheFirstPatternIsRememberedOrNothingIs) {
    Zel::TraceRegistry& registry = newRegistry();
    expectFirstSetting(registry, [&] {
        registry.settingsAre({TraceSetting{"fir*", false, 1u << 3, all & ~(1u << 3)}});
    });
}

TEST(TraceRegistry, AHandleThatTwoThreadsMakeKnownIsKnownOnce) {
    // The second has waited for the first, and makes it known as if it were not yet.
    Zel::TraceRegistry& registry = newRegistry();
    registry.levelIs("twice", 1u << 3, true);
    TraceHandle handle("twice", false);
    EXPECT_EQ(registry.add(handle), 1u << 3);
    EXPECT_EQ(registry.add(handle), 1u << 3);
    registry.remove(handle);
    registry.levelIs("twice", 1u << 3, true);
    EXPECT_EQ(levelsOf(handle), 0u);
}

TEST(TraceRegistry, AHandleThatIsNotKnownAnyMoreHasNoLevelOn) {
    TraceHandle handle("no longer known", true);
    EXPECT_EQ(levelsOf(handle), all);
    Zel::traceRegistry.remove(handle);
    EXPECT_EQ(levelsOf(handle), 0u);
}

TEST_F(TraceLevels, AMalformedTextChangesNothing) {
    TraceHandle handle("L:Malformed", false);
    EXPECT_EQ(levelsOf(handle), 0u);
    const auto before = settings();
    EXPECT_THROW(Zel::traceSettingsAre("L:Malformed/8,Varnol/x"), Zel::RangeException);
    EXPECT_THROW(Zel::traceSettingsAre(""), Zel::RangeException);
    EXPECT_EQ(levelsOf(handle), 0u);
    EXPECT_EQ(settings(), before);
}

TEST_F(TraceLevels, ThatCannotBeRememberedChangeNothing) {
    const unsigned failures = failEachAllocation([this](Attempt& attempt) {
        TraceHandle handle("L:ANameThatIsTooLongToNeedNoMemory1", false);
        Zel::traceSettingsAre("L:*/off");
        EXPECT_EQ(levelsOf(handle), 0u);
        const auto before = settings();
        const bool whole = attempt([] {
            Zel::traceSettingsAre("L:ANameThatIsTooLongToNeedNoMemory*/8,"
                                  "L:ANameThatIsTooLongToNeedNoMemory1/7,"
                                  "L:AnotherNameThatIsTooLongToNeedNoMemory/6");
        });
        EXPECT_EQ(levelsOf(handle), whole ? upTo(7) : 0u);
        if (!whole) {
            EXPECT_EQ(settings(), before);
        }
        Zel::traceSettingsAre("L:*/off");
    });
    EXPECT_GT(failures, 5u);
}

// Switching

TEST_F(TraceLevels, UpToTheOneGivenAreOnAndTheHigherOnesOff) {
    TraceHandle handle("L:UpTo", true);
    for (unsigned level = 0; level <= 9; ++level) {
        Zel::traceSettingsAre("L:UpTo/" + std::to_string(level));
        EXPECT_EQ(levelsOf(handle), upTo(level));
    }
    Zel::traceSettingsAre("L:UpTo/0");
    EXPECT_EQ(levelsOf(handle), 1u);
    Zel::traceSettingsAre("L:UpTo/off");
    EXPECT_EQ(levelsOf(handle), 0u);
}

TEST_F(TraceLevels, AreSwitchedForAllHandlesThatMatchAndNoOthers) {
    TraceHandle one("L:MatchOne", false);
    TraceHandle two("L:MatchTwo", false);
    TraceHandle twin("L:MatchTwo", false);
    TraceHandle other("L:OtherOne", false);
    for (TraceHandle* handle : {&one, &two, &twin, &other})
        EXPECT_EQ(levelsOf(*handle), 0u);
    Zel::traceSettingsAre("L:Match*/8");
    EXPECT_EQ(levelsOf(one), upTo(8));
    EXPECT_EQ(levelsOf(two), upTo(8));
    EXPECT_EQ(levelsOf(twin), upTo(8));
    EXPECT_EQ(levelsOf(other), 0u);
}

TEST_F(TraceLevels, HoldForHandlesThatComeLater) {
    Zel::traceSettingsAre("L:Later*/8,L:Later2/3");
    TraceHandle one("L:Later1", false);
    TraceHandle two("L:Later2", true);
    EXPECT_EQ(levelsOf(one), upTo(8));
    EXPECT_EQ(levelsOf(two), upTo(3));
    EXPECT_TRUE(Zel::traceLevel("L:Later3", 8));
    EXPECT_FALSE(Zel::traceLevel("L:Later2", 8));
}

TEST_F(TraceLevels, TheLaterInATextWins) {
    TraceHandle handle("L:Order", false);
    Zel::traceSettingsAre("L:Order/3,L:O*/8");
    EXPECT_EQ(levelsOf(handle), upTo(8));
    Zel::traceSettingsAre("L:O*/8,L:Order/3");
    EXPECT_EQ(levelsOf(handle), upTo(3));
    Zel::traceSettingsAre("L:O*/8,L:O*/2");
    EXPECT_EQ(levelsOf(handle), upTo(2));
}

TEST_F(TraceLevels, ComposeWithTraceLevelIsInTheOrderOfTime) {
    for (const bool late : {false, true}) {
        auto handle = std::make_unique<TraceHandle>("L:Compose", false);
        const auto expect = [&](Zel::U32 levels) {
            if (late) // a handle that meets all settings at once
                handle = std::make_unique<TraceHandle>("L:Compose", false);
            EXPECT_EQ(levelsOf(*handle), levels);
            for (unsigned level = 0; level <= 9; ++level)
                EXPECT_EQ(Zel::traceLevel("L:Compose", level), (levels >> level & 1) != 0);
        };
        Zel::traceSettingsAre("L:*/off");
        Zel::traceLevelIs("L:Compose", 9, true);
        expect(1u << 9);
        Zel::traceSettingsAre("L:Comp*/3");
        expect(upTo(3));
        Zel::traceLevelIs("L:Compose", 8, true);
        expect(upTo(3) | 1u << 8);
        Zel::traceLevelIs("L:Compose", 2, false);
        expect((upTo(3) & ~(1u << 2)) | 1u << 8);
        Zel::traceSettingsAre("L:Compose/1");
        expect(upTo(1));
        Zel::traceLevelIs("L:Compose", 5, true);
        expect(upTo(1) | 1u << 5);
        Zel::traceSettingsAre("L:Other*/9");
        expect(upTo(1) | 1u << 5);
        Zel::traceLevelIs("L:Compose", 6, true);
        expect(upTo(1) | 3u << 5);
        Zel::traceSettingsAre("L:*/off");
        expect(0);
    }
}

TEST_F(TraceLevels, ANameGivenToTraceLevelIsIsNoPattern) {
    TraceHandle star("L:Star*", false);
    TraceHandle other("L:Starling", false);
    Zel::traceLevelIs("L:Star*", 8, true);
    EXPECT_EQ(levelsOf(star), 1u << 8);
    EXPECT_EQ(levelsOf(other), 0u);
    Zel::traceSettingsAre("L:Star*/2");
    EXPECT_EQ(levelsOf(star), upTo(2));
    EXPECT_EQ(levelsOf(other), upTo(2));
}

TEST_F(TraceLevels, AreThoseOfAllSettingsEverMadeOneAfterTheOther) {
    const std::vector<std::string> names{"L:a", "L:b", "L:ab", "L:ba", "L:a*"};
    const std::vector<std::string> patterns{"L:a",  "L:b",  "L:ab", "L:ba",  "L:a*", "L:*a",
                                            "L:*b", "L:b*", "L:*",  "L:a*b", "L:**", "L:*a*"};
    std::mt19937 engine(3);
    const auto random = [&engine] { return static_cast<unsigned>(engine()); };
    std::deque<TraceHandle> handles;
    for (std::string const& name : names)
        EXPECT_EQ(levelsOf(handles.emplace_back(name, false)), 0u);
    std::vector<Zel::U32> model(names.size(), 0);
    for (unsigned round = 0; round < 3000; ++round) {
        if (random() % 2 == 0) {
            const std::size_t name = random() % names.size();
            const unsigned level = random() % 10;
            const bool on = random() % 2 == 0;
            Zel::traceLevelIs(names[name], level, on);
            model[name] = on ? model[name] | 1u << level : model[name] & ~(1u << level);
        } else {
            std::string text;
            for (unsigned parts = random() % 3 + 1; parts > 0; --parts) {
                const unsigned level = random() % 11;
                text += (text.empty() ? "" : ",") + patterns[random() % patterns.size()] + "/" +
                        (level == 10 ? "off" : std::to_string(level));
            }
            Zel::traceSettingsAre(text);
            for (TraceSetting const& setting : Zel::traceSettingsOf(text))
                for (std::size_t name = 0; name < names.size(); ++name)
                    if (setting.matches(names[name]))
                        model[name] = setting.on;
        }
        for (std::size_t name = 0; name < names.size(); ++name) {
            TraceHandle late(names[name], false);
            ASSERT_EQ(levelsOf(handles[name]), model[name]) << names[name] << " " << round;
            ASSERT_EQ(levelsOf(late), model[name]) << names[name] << " " << round;
        }
        // As many as there are patterns and names, at most.
        ASSERT_LE(settings().size(), names.size() + patterns.size());
    }
}

// Memory

TEST_F(TraceLevels, ThatRepeatForEverTakeNoMoreMemory) {
    const auto round = [] {
        Zel::traceSettingsAre("L:Repeat*/8,L:RepeatedAndTooLongToNeedNoMemory/3");
        Zel::traceLevelIs("L:RepeatedAndTooLongToNeedNoMemory", 8, true);
        Zel::traceSettingsAre("L:*Repeat/2");
        Zel::traceLevelIs("L:Repeat", 8, false);
        Zel::traceSettingsAre("L:Repeat/off");
    };
    round();
    const std::size_t made = settings().size();
    const std::ptrdiff_t before = FailingAllocation::outstanding();
    for (unsigned i = 0; i < 100; ++i)
        round();
    EXPECT_EQ(FailingAllocation::outstanding(), before);
    EXPECT_EQ(settings().size(), made);
}

TEST_F(TraceLevels, ALaterSettingMakesThoseVoidThatItCovers) {
    const auto patterns = [this] {
        std::string text;
        for (TraceSetting const& setting : settings())
            text += (text.empty() ? "" : " ") + setting.pattern;
        return text;
    };
    EXPECT_EQ(patterns(), "L:*");
    Zel::traceSettingsAre("L:ab*/1,L:ac/2,L:abc*d/3,L:b/4");
    EXPECT_EQ(patterns(), "L:* L:ab* L:ac L:abc*d L:b");
    Zel::traceSettingsAre("L:ab*/5"); // what is longer too
    EXPECT_EQ(patterns(), "L:* L:ac L:b L:ab*");
    Zel::traceSettingsAre("L:*c/5"); // not all of L:ab*
    EXPECT_EQ(patterns(), "L:* L:b L:ab* L:*c");
    Zel::traceLevelIs("L:abc", 5, true);
    EXPECT_EQ(patterns(), "L:* L:b L:ab* L:*c L:abc");
    Zel::traceSettingsAre("L:a*/5");
    EXPECT_EQ(patterns(), "L:* L:b L:*c L:a*");
    Zel::traceSettingsAre("L:**/off");
    EXPECT_EQ(patterns(), "L:**");
}

// Reading back

TEST_F(TraceLevels, AreReadBackWithTheHandlesThatHaveThem) {
    TraceHandle b("L:ReadBackB", false);
    TraceHandle a("L:ReadBackA", false);
    TraceHandle twin("L:ReadBackA", false);
    TraceHandle unmet("L:ReadBackUnmet", false);
    const auto mine = [] {
        auto handles = Zel::traceHandles();
        std::erase_if(handles, [](Zel::TraceHandleLevels const& handle) {
            return !handle.handle.starts_with("L:ReadBack");
        });
        return handles;
    };
    EXPECT_EQ(mine().size(), 0u);
    for (TraceHandle* handle : {&a, &b, &twin})
        levelsOf(*handle);
    Zel::traceSettingsAre("L:ReadBackB/3");
    EXPECT_EQ(mine(),
              (std::vector<Zel::TraceHandleLevels>{{"L:ReadBackA", 0}, {"L:ReadBackB", upTo(3)}}));
    Zel::traceLevelIs("L:ReadBackB", 8, true);
    EXPECT_EQ(mine().back(), (Zel::TraceHandleLevels{"L:ReadBackB", upTo(3) | 1u << 8}));
    {
        TraceHandle ended("L:ReadBackC", false);
        levelsOf(ended);
        EXPECT_EQ(mine().size(), 3u);
    }
    EXPECT_EQ(mine().size(), 2u);
}

TEST_F(TraceLevels, HandlesAreReadBackInTheirOrderAndAlikeOnesOnce) {
    std::deque<TraceHandle> handles;
    for (const char* name : {"L:Twin", "L:Twin", "L:Twin", "zz:Last"})
        levelsOf(handles.emplace_back(name, false));
    const auto notBefore = [](Zel::TraceHandleLevels const& left,
                              Zel::TraceHandleLevels const& right) {
        return std::tie(left.handle, left.on) >= std::tie(right.handle, right.on);
    };
    const auto read = Zel::traceHandles();
    EXPECT_EQ(std::ranges::adjacent_find(read, notBefore), read.end());
    EXPECT_EQ(read.back(), (Zel::TraceHandleLevels{"zz:Last", 0}));
}

TEST_F(TraceLevels, ThoseThatCameAfterAHandleThatEndsAreStillSwitched) {
    auto first = std::make_unique<TraceHandle>("L:First", false);
    levelsOf(*first);
    TraceHandle second("L:Second", false);
    levelsOf(second);
    TraceHandle third("L:Third", false);
    levelsOf(third);
    first = nullptr;
    Zel::traceSettingsAre("L:*/3");
    EXPECT_EQ(levelsOf(second), upTo(3));
    EXPECT_EQ(levelsOf(third), upTo(3));
}

TEST_F(TraceLevels, TheSettingsAreReadBackTheOldestFirst) {
    Zel::traceSettingsAre("L:Old/3");
    Zel::traceLevelIs("L:Single", 5, true);
    Zel::traceLevelIs("L:Single", 4, false);
    Zel::traceSettingsAre("L:New*/off");
    EXPECT_EQ(settings(), (std::vector<TraceSetting>{{"L:*", false, 0, all},
                                                     {"L:Old", true, upTo(3), all & ~upTo(3)},
                                                     {"L:Single", true, 1u << 5, 1u << 4},
                                                     {"L:New*", false, 0, all}}));
}

TEST(TraceHandles, OfOneNameThatDifferAreBothReadBack) {
    TraceHandle off("Differs", false);
    TraceHandle on("Differs", true);
    EXPECT_EQ(levelsOf(off), 0u);
    EXPECT_EQ(levelsOf(on), all);
    std::vector<Zel::TraceHandleLevels> differing = Zel::traceHandles();
    std::erase_if(differing, [](auto const& handle) { return handle.handle != "Differs"; });
    EXPECT_EQ(differing, (std::vector<Zel::TraceHandleLevels>{{"Differs", 0}, {"Differs", all}}));
}

// Threads

TEST_F(TraceLevels, MayBeSetWhileAnotherThreadTracesAndHandlesComeAndGo) {
    const TraceCapture capture("L:Busy0", {8});
    std::thread tracing([] {
        for (unsigned round = 0; round < 500; ++round) {
            TraceHandle handle("L:Busy1", false);
            Zel::trace(handle, 8, [](Zel::TraceStream& out) { out << "text"; });
        }
    });
    for (unsigned round = 0; round < 500; ++round) {
        Zel::traceSettingsAre(round % 2 == 0 ? "L:Busy*/8,L:Busy2/1" : "L:Busy*/off");
        for (Zel::TraceHandleLevels const& handle : Zel::traceHandles())
            ASSERT_TRUE(handle.handle != "L:Busy1" || handle.on == 0 || handle.on == upTo(8))
                << handle.on;
    }
    tracing.join();
    for (std::string const& text : capture.texts())
        ASSERT_EQ(text, "text");
}

} // namespace
