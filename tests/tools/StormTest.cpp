#include "tests/tools/storm/Storm.h"
#include "examples/bridge/Process.h"
#include "tests/tools/ChromeNesting.h"
#include "tests/tools/Program.h"
#include "tests/tools/Reading.h"
#include "tools/trace/Names.h"
#include "tools/trace/Nesting.h"
#include "tools/trace/Octets.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <random>
#include <thread>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

/// The reader and the program on traces that the library has written.
namespace TraceTool::Test {
namespace {

constexpr std::size_t smallSize = 64UL * 1024;
constexpr std::size_t largeSize = 64UL * 1024 * 1024;

/// A storm, and its files.
class Storm {
  public:
    std::string trace() const { return folder_.path() / "trace"; }
    std::filesystem::path const& folder() const { return folder_.path(); }
    StormJournal journal() const {
        StormJournal journal{};
        const std::string octets = contents(folder_.path() / "journal");
        if (octets.size() == sizeof journal)
            std::memcpy(&journal, octets.data(), sizeof journal);
        return journal;
    }

    /// Lets it go on for so many rounds.
    void run(std::size_t size, unsigned rounds) const {
        ASSERT_EQ(Examples::runProcess({STORM, trace(), std::to_string(size),
                                        folder_.path() / "journal", std::to_string(rounds)}),
                  0);
    }

    /// Kills it, so long after it has begun and has ended more than so many rounds.
    void runAndKill(U64 rounds, std::chrono::microseconds after) const {
        std::string program = STORM;
        std::string file = trace();
        std::string size = std::to_string(smallSize);
        std::string journalFile = folder_.path() / "journal";
        char* const arguments[] = {program.data(), file.data(), size.data(), journalFile.data(),
                                   nullptr};
        pid_t child = 0;
        ASSERT_EQ(::posix_spawn(&child, STORM, nullptr, nullptr, arguments, environ), 0);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        const auto isThere = [&] {
            const StormJournal now = journal();
            return now.begun != 0 && (rounds == 0 || now.ended > rounds);
        };
        bool late = false;
        for (; !isThere() && !late; late = std::chrono::steady_clock::now() > deadline) {
            ASSERT_EQ(::waitpid(child, nullptr, WNOHANG), 0) << "it has ended by itself";
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        std::this_thread::sleep_for(after);
        EXPECT_EQ(::kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        ASSERT_FALSE(late) << "it did not get as far within a minute";
    }

    Trace read() const {
        const FileOctets octets(trace());
        return Reader(octets).read();
    }

  private:
    Examples::TemporaryFolder folder_;
};

/// What a block says, without times and addresses.
struct Said {
    std::string actor;
    std::string entity;
    std::string attribute;
    std::string key;
    BlockKind kind;
    unsigned depth;

    friend bool operator==(Said const&, Said const&) = default;
};

Said said(Names const& names, BlockRecord const& block) {
    return {names.actor(block),
            names.entityClass(block) + "[" + names.entityKey(block) + "]",
            names.attribute(block),
            names.key(block),
            block.kind,
            block.depth};
}

std::ostream& operator<<(std::ostream& out, Said const& said) {
    return out << said.depth << " " << name(said.kind) << " " << said.actor << " of " << said.entity
               << "." << said.attribute << "[" << said.key << "]";
}

/// The blocks of one round, in the order in which they end.
std::vector<Said> roundOf() {
    const Storm storm;
    storm.run(smallSize, 1);
    const Trace trace = storm.read();
    const Names names(trace);
    std::vector<Said> round;
    for (BlockRecord const& block : trace.blocks)
        round.push_back(said(names, block));
    return round;
}

TEST(Storm, ARoundIsShownFromTheSourceToTheLastDestination) {
    const std::vector<Said> round = roundOf();
    const std::string entry = "Varnol::IntxInfoSyncer::ZelMstiNSm";
    const std::string instance = "Varnol::IntxMstiInfo[7]";
    ASSERT_EQ(round.size(), 21U);
    EXPECT_EQ(round[0], (Said{entry, instance, "flags", "", BlockKind::write, 4}));
    EXPECT_EQ(round[1], (Said{entry, instance, "flags", "", BlockKind::reaction, 3}));
    EXPECT_EQ(round[2], (Said{entry, instance, "flags", "", BlockKind::write, 2}));
    EXPECT_EQ(round[3], (Said{entry, instance, "flags", "", BlockKind::reaction, 1}));
    const std::string port = "Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm";
    EXPECT_EQ(round[4], (Said{port, "Varnol::TxMstPortStatus[Et3/1]", "txUpdate", "100",
                              BlockKind::write, 4}));
    EXPECT_EQ(round[15], (Said{port, "Varnol::TxMstPortStatus[Et3/1]", "txUpdate", "100",
                               BlockKind::reaction, 1}));
    EXPECT_EQ(round[19], (Said{"Varnol::TxStatusToTxSyncer::ZelSource", "Varnol::TxStatus[]",
                               "heartbeatTimeout", "", BlockKind::reaction, 1}));
    EXPECT_EQ(round[20].depth, 0U);
    EXPECT_TRUE(round[20].actor.starts_with("Storm::round")) << round[20];
}

TEST(Storm, KilledAHundredTimesAtAnyPointEveryFinishedBlockInTheRingAndTheOpenOnesAreShown) {
    const std::vector<Said> round = roundOf();
    std::mt19937 engine(20261121);
    unsigned diedInABlock = 0;
    unsigned wrapped = 0;
    unsigned wrappedForCertain = 0;
    for (unsigned kill = 0; kill < 100; ++kill) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        const Storm storm;
        const std::chrono::microseconds after(engine() % 1500);
        const U64 rounds = kill % 2 == 0 ? engine() % 201 : 0;
        storm.runAndKill(rounds, after);
        if (::testing::Test::HasFatalFailure())
            return;
        const StormJournal journal = storm.journal();
        const Trace trace = storm.read();
        EXPECT_TRUE(trace.damage.texts().empty()) << trace.damage.texts().front();
        const Names names(trace);

        // As many records as rounds were ended and begun.
        U64 recorded = trace.lanes.at(0).recordCount;
        EXPECT_GE(recorded, round.size() * journal.ended);
        EXPECT_LE(recorded, round.size() * journal.begun);
        if (!trace.blocks.empty() && trace.blocks.back().sequence == recorded + 1)
            ++recorded; // killed before it was counted

        // Every one of the latest, each what it has to be at its place in the round. One that was
        // being written has taken the place of the oldest.
        const U64 capacity = trace.header.ringCapacity;
        EXPECT_GE(trace.blocks.size() + 1, std::min(recorded, capacity));
        wrapped += recorded > capacity;
        wrappedForCertain += round.size() * rounds > capacity;
        EXPECT_GE(journal.ended, rounds);
        U64 sequence = recorded - trace.blocks.size();
        for (BlockRecord const& block : trace.blocks) {
            ASSERT_EQ(block.sequence, ++sequence);
            ASSERT_EQ(said(names, block), round[(sequence - 1) % round.size()]);
            ASSERT_LE(block.begin, block.end);
        }

        // The open ones: the block that would have ended next, or those around it.
        std::vector<Said> next;
        for (std::size_t at = recorded % round.size(); at < round.size(); ++at) {
            if (next.empty() || round[at].depth < next.front().depth)
                next.insert(next.begin(), round[at]);
        }
        std::vector<BlockRecord> const& open = trace.lanes.at(0).open;
        ASSERT_LE(open.size(), next.size());
        for (std::size_t depth = 0; depth < open.size(); ++depth)
            EXPECT_EQ(said(names, open[depth]), next[depth]);
        if (recorded % round.size() != 0) {
            EXPECT_GE(open.size(), round[recorded % round.size() - 1].depth)
                << "all around the one that ended last are open";
        }

        const Result shown = varnolTrace({"show", storm.trace()});
        EXPECT_EQ(shown.exitStatus, 0) << shown.errors;
        EXPECT_NE(shown.output.find("is gone"), std::string::npos);
        if (!open.empty()) {
            ++diedInABlock;
            EXPECT_NE(shown.output.find("it was in " + names.blockText(open.back())),
                      std::string::npos)
                << shown.output.substr(shown.output.size() - 1000);
        }
    }
    EXPECT_GT(diedInABlock, 50U);
    EXPECT_GT(wrappedForCertain, 10U);
    EXPECT_GE(wrapped, wrappedForCertain);
}

TEST(Storm, TheStatisticsCountWhatTheStormDid) {
    constexpr unsigned rounds = 5000;
    const Storm storm;
    storm.run(largeSize, rounds);
    const Result result = varnolTrace({"stats", storm.trace(), "--json"});
    ASSERT_EQ(result.exitStatus, 0) << result.errors;
    std::map<std::string, U64> counts;
    U64 all = 0;
    const auto statistics = nlohmann::json::parse(result.output);
    for (auto const& row : statistics.at("rows")) {
        std::string actor = row.at("actor");
        actor = actor.substr(0, actor.find("():"));
        counts[std::string(row.at("kind")) + " " + actor + " " + row.value("attribute", "")] +=
            U64{row.at("count")};
        all += U64{row.at("count")};
    }
    const std::string entry = "Varnol::IntxInfoSyncer::ZelMstiNSm flags";
    const std::string port = "Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm";
    EXPECT_EQ(counts["reaction " + entry], 2 * rounds);
    EXPECT_EQ(counts["write " + entry], 2 * rounds);
    EXPECT_EQ(counts["reaction " + port + " txUpdate"], 3 * rounds);
    EXPECT_EQ(counts["handler " + port + "::handleTxUpdate txUpdate"], 3 * rounds);
    EXPECT_EQ(counts["write " + port + " txUpdate"], 6 * rounds);
    EXPECT_EQ(counts["reaction Varnol::TxStatusToTxSyncer::ZelSource heartbeatTimeout"],
              2 * rounds);
    EXPECT_EQ(counts["handler Storm::round "], rounds);
    EXPECT_EQ(all, 21 * rounds);
}

TEST(Storm, TheExportsHoldAsManyBlocks) {
    constexpr unsigned rounds = 500;
    const Storm storm;
    storm.run(largeSize, rounds);
    const std::string chrome = storm.folder() / "chrome.json";
    ASSERT_EQ(varnolTrace({"export", storm.trace(), "--chrome", chrome}).exitStatus, 0);
    U64 events = 0;
    const auto exported = nlohmann::json::parse(contents(chrome));
    for (auto const& event : exported.at("traceEvents"))
        events += event.at("ph") == "X";
    EXPECT_EQ(events, 21 * rounds);
    expectNested(exported.at("traceEvents"), storm.read());

    const std::string ctf = storm.folder() / "ctf";
    ASSERT_EQ(varnolTrace({"export", storm.trace(), "--ctf", ctf}).exitStatus, 0);
    const std::string read = storm.folder() / "read";
    ASSERT_EQ(Examples::runProcess({"/usr/bin/babeltrace2", ctf}, {read, {}}), 0);
    EXPECT_EQ(std::ranges::count(contents(read), '\n'), 21 * rounds);
}

} // namespace
} // namespace TraceTool::Test
