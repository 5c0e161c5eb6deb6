// The program bpdu-exchange, run as a user runs it.

#include "examples/bridge/BridgeRun.h"
#include "examples/bridge/Process.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/examples/Offer.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace Examples::Test {
namespace {

using testing::IsNotSubstring;
using testing::IsSubstring;

std::string contents(std::filesystem::path const& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

/// What stands in the text between the one place of `begin` and the next one of `end`.
std::string between(std::string const& begin, std::string const& end, std::string const& text) {
    const std::size_t from = text.find(begin);
    const std::size_t to = text.find(end, from + begin.size());
    if (from == text.npos || text.find(begin, from + 1) != text.npos || to == text.npos) {
        ADD_FAILURE() << "not one place between '" << begin << "' and '" << end << "'";
        return "";
    }
    return text.substr(from + begin.size(), to - from - begin.size());
}

struct Result {
    int exitStatus;
    std::string output;
    std::string errors;
};

class BpduExchange : public testing::Test {
  protected:
    BpduExchange() { std::filesystem::create_directory(temporary_); }

    /// Runs a program with a folder for temporary files of its own, which it must leave empty.
    Result run(std::vector<std::string> const& command) {
        std::vector<std::string> all{"/usr/bin/env", "TMPDIR=" + temporary_.string()};
        all.insert(all.end(), command.begin(), command.end());
        const std::filesystem::path output = folder_.path() / "output";
        const std::filesystem::path errors = folder_.path() / "errors";
        const int exitStatus = runProcess(all, {output, errors});
        EXPECT_TRUE(std::filesystem::is_empty(temporary_));
        return {exitStatus, contents(output), contents(errors)};
    }

    /// The path of a copy of the program that has another script beside it.
    std::string withScript(std::string const& script) {
        std::filesystem::path const& path = folder_.path() / "rstp-bridge";
        std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return withoutScript();
    }
    std::string withoutScript() {
        const std::filesystem::path copy = folder_.path() / "bpdu-exchange";
        std::filesystem::copy_file(BPDU_EXCHANGE, copy);
        return copy;
    }

    /// Writes a capture and returns its path.
    std::string capture(std::vector<Frame> const& frames) {
        const std::filesystem::path path = folder_.path() / "other.pcap";
        writeCapture(path, frames);
        return path;
    }

    TemporaryFolder folder_;
    std::filesystem::path temporary_ = folder_.path() / "temporary";
};

TEST_F(BpduExchange, PrintsWhatItsDocumentShowsAndEndsAsTheReadmeSays) {
    const Result result = run({BPDU_EXCHANGE});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, between("\n```text\n", "\n```\n", contents(DEMO_DOCUMENT)) + "\n");

    const std::string verdict = between("It ends with\n", "\n\nThe second one", contents(README));
    std::string ending = "\n";
    std::istringstream lines(verdict);
    for (std::string line; std::getline(lines, line);)
        ending += (line.empty() ? line : line.substr(4)) + "\n";
    EXPECT_TRUE(result.output.ends_with(ending)) << ending;
}

TEST_F(BpduExchange, KeepsItsFilesInTheFolderThatItIsGiven) {
    const std::filesystem::path kept = folder_.path() / "new" / "kept";
    const Result result = run({BPDU_EXCHANGE, "--keep", kept});
    EXPECT_EQ(result.exitStatus, 0);

    const auto sent = readCapture(kept / "sent.pcap");
    ASSERT_EQ(sent.size(), 2);
    EXPECT_FALSE(rstBpduIn(sent[0]).rstpFlags().proposal());
    EXPECT_TRUE(rstBpduIn(sent[1]).rstpFlags().proposal());
    const auto answers = readCapture(kept / "answer.pcap");
    ASSERT_FALSE(answers.empty());
    EXPECT_EQ(rstBpduIn(answers.back()).rootId(), rstBpduIn(sent[1]).rootId());
    EXPECT_EQ(BridgeStatus(kept / "status").bridgeId("root_id"), rstBpduIn(sent[1]).rootId());
}

TEST_F(BpduExchange, RefusesOptionsThatItDoesNotKnow) {
    const std::vector<std::vector<std::string>> wrong{
        {"--kept", "folder"}, {"--keep"}, {"--keep", ""}, {"folder"}, {"--keep", "a", "b"}, {""}};
    for (auto const& arguments : wrong) {
        std::vector<std::string> command{BPDU_EXCHANGE};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Result result = run(command);
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.errors, "usage: bpdu-exchange [--keep FOLDER]\n");
        EXPECT_EQ(result.output, "");
    }
}

TEST_F(BpduExchange, FailsWhenTheFolderCannotBeMade) {
    const std::string file = capture({});
    const Result result = run({BPDU_EXCHANGE, "--keep", file + "/folder"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, file, result.errors);
    EXPECT_PRED_FORMAT2(IsNotSubstring, "The verdict", result.output);
}

TEST_F(BpduExchange, FailsWhenAFileCannotBeWritten) {
    for (const char* name : {"sent.pcap", "answer.pcap", "status"}) {
        const std::filesystem::path kept = folder_.path() / (std::string("no-") + name);
        std::filesystem::create_directories(kept / name);
        const Result result = run({BPDU_EXCHANGE, "--keep", kept});
        EXPECT_EQ(result.exitStatus, 1);
        EXPECT_PRED_FORMAT2(IsSubstring, (kept / name).string(), result.errors);
        EXPECT_PRED_FORMAT2(IsNotSubstring, "The verdict", result.output);
    }
}

TEST_F(BpduExchange, FailsWithoutAFolderForTemporaryFiles) {
    const Result result = run({"/usr/bin/env", "TMPDIR=/nowhere", BPDU_EXCHANGE});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "/nowhere", result.errors);
}

TEST_F(BpduExchange, FailsWhenItsOutputCannotBeWritten) {
    const Result result = run({"/bin/sh", "-c", "exec " BPDU_EXCHANGE " >/dev/full"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "bpdu-exchange: cannot write to standard output\n");
}

TEST_F(BpduExchange, FailsWhenNobodyReadsItsOutput) {
    const Result result =
        run({"/bin/bash", "-c", BPDU_EXCHANGE " | sleep 0; exit ${PIPESTATUS[0]}"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.errors, "bpdu-exchange: cannot write to standard output\n");
}

TEST_F(BpduExchange, FailsWithoutItsScript) {
    const Result result = run({withoutScript()});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "rstp-bridge: No such file", result.errors);
}

TEST_F(BpduExchange, FailsWhenItsScriptDoes) {
    const Result result = run({withScript("echo no bridge >&2; exit 1")});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "no bridge", result.errors);
    EXPECT_PRED_FORMAT2(IsSubstring, "exit status 1", result.errors);
}

TEST_F(BpduExchange, FailsWhenTheBridgeDoesNotFollow) {
    const Offer worse{.root = {61440, 0, {0x02, 0, 0, 0, 0, 0x01}}};
    const std::string other = capture({frameOf(worse)});
    const Result result = run({withScript("exec " RSTP_BRIDGE " " + other + " \"$2\" \"$3\"")});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   the bridge follows our root identifier", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   its root path cost", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   it agrees", result.output);
}

TEST_F(BpduExchange, FailsWhenTheBridgeFollowsAnotherRoot) {
    const Offer another{.root = {0, 0, {0x02, 0, 0, 0, 0, 0x01}}};
    const std::string other = capture({frameOf(another), frameOf(another)});
    const Result result = run({withScript("exec " RSTP_BRIDGE " " + other + " \"$2\" \"$3\"")});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   the bridge follows our root identifier", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "yes  its root path cost", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   it agrees", result.output);
}

TEST_F(BpduExchange, FailsWhenTheBridgeAgreesUnaskedOnly) {
    const Frame statement = frameOf(Offer{.proposal = false});
    const std::string other = capture({statement, statement});
    const Result result = run({withScript("exec " RSTP_BRIDGE " " + other + " \"$2\" \"$3\"")});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "yes  the bridge follows our root identifier", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "yes  its root path cost", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   it agrees", result.output);
}

TEST_F(BpduExchange, FailsWhenTheBridgeAddsUpWrong) {
    const Result result = run({withScript(RSTP_BRIDGE " \"$@\" && "
                                                      "sed -i 's/^root_path_cost=.*/&0/' \"$3\"")});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_PRED_FORMAT2(IsSubstring, "yes  the bridge follows our root identifier", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "NO   its root path cost, 210000", result.output);
    EXPECT_PRED_FORMAT2(IsSubstring, "yes  it agrees", result.output);
}

TEST_F(BpduExchange, EndedBySignalLeavesNothingBehind) {
    const std::string program = withScript("kill -TERM $PPID; sleep 0.2; exit 1");
    EXPECT_EQ(run({program}).exitStatus, 128 + 15);
}

} // namespace
} // namespace Examples::Test
