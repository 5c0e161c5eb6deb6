#include "tests/agent/control/Server.h"

#include "agent/control/ControlClient.h"
#include "framework/zel/Trace.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <list>
#include <random>
#include <sstream>
#include <thread>

namespace Agent::Test {
namespace {

using namespace std::string_literals;

TEST_F(ServerTest, AnswersARequestAndEndsTheConnection) {
    const std::string answer = answerTo("show\n");
    EXPECT_TRUE(answer.starts_with("ok\nBridge ")) << answer;
    EXPECT_EQ(server.counts().requests, 1);
    EXPECT_EQ(server.counts().badRequests, 0);
}

TEST_F(ServerTest, TellsHowManyObjectsAreAliveAtTheTime) {
    const auto objects = [&] {
        const std::string shown = answerTo("show detail\n");
        const std::string before = "\nLive objects: ";
        const std::size_t at = shown.find(before);
        EXPECT_NE(at, std::string::npos) << shown;
        return std::stoul(shown.substr(at + before.size()));
    };
    const auto few = objects();
    EXPECT_EQ(few, census().liveObjects);
    rig.hear(rig.eth0, Frames::frame(Frames::mstWith(9)), 1s);
    EXPECT_GE(objects(), few + 20) << "a record and ten entries in two trees";
    EXPECT_EQ(objects(), census().liveObjects);
    EXPECT_NE(answerTo("show json\n").find("\"live_objects\": " + std::to_string(objects()) + ","),
              std::string::npos);
}

TEST_F(ServerTest, TakesARequestInPieces) {
    RawClient client(path);
    for (const char octet : std::string_view("show\n")) {
        client.say({&octet, 1});
        turns(3);
    }
    await([&] {
        client.read();
        return client.ended();
    });
    EXPECT_TRUE(client.heard().starts_with("ok\nBridge "));
}

TEST_F(ServerTest, TakesARequestThatEndsWithTheConnection) {
    RawClient client(path);
    client.say("show");
    client.sayNoMore();
    await([&] {
        client.read();
        return client.ended();
    });
    EXPECT_TRUE(client.heard().starts_with("ok\nBridge "));
}

TEST_F(ServerTest, AnswersRubbishWithAnError) {
    const std::vector<std::string> rubbish{"\n",
                                           "\0\n"s,
                                           "shows\n",
                                           "show bpdu\n",
                                           "show a b\n",
                                           "show traces detail\n",
                                           "show mirror detail\n",
                                           "set trace\n",
                                           "set trace \xff\xfe/8\n",
                                           "show nosuch\n",
                                           "watch all\n",
                                           "set priority\n",
                                           "set priority 1\n",
                                           "set mtu 1500\n",
                                           "\xff\xfe\x1b[2J\n",
                                           "show bpdu nosuch\n"};
    for (std::string const& request : rubbish) {
        const std::string answer = answerTo(request);
        EXPECT_TRUE(answer.starts_with("error\n")) << answer;
        EXPECT_GT(answer.size(), 7);
        EXPECT_EQ(answer.find('\x1b'), std::string::npos);
    }
    EXPECT_EQ(server.counts().badRequests, rubbish.size());
    EXPECT_EQ(rig.changes.size(), 0);
}

TEST_F(ServerTest, StaysWholeWhateverClientsSay) {
    std::mt19937 engine(2);
    for (int i = 0; i < 200; ++i) {
        std::string rubbish(engine() % 600, ' ');
        for (char& octet : rubbish)
            octet = static_cast<char>(engine());
        rubbish += '\n';
        const std::string answer = answerTo(rubbish);
        EXPECT_TRUE(answer.starts_with("error\n") || answer.starts_with("ok\n")) << answer;
    }
    EXPECT_EQ(rig.changes.size(), 0);
}

TEST_F(ServerTest, CutsOffAClientThatSaysTooMuch) {
    const std::string answer = answerTo(std::string(ControlServer::requestLimit + 1, 'x'));
    EXPECT_EQ(answer, "error\nthe request is too long\n");
    EXPECT_EQ(server.counts().longRequests, 1);

    RawClient client(path);
    std::size_t said = 0;
    const std::string much(4096, 'x');
    await([&] {
        said += client.say(much);
        client.read();
        return client.ended();
    });
    EXPECT_EQ(server.counts().longRequests, 2);
    EXPECT_LT(said, 1 << 20);
}

TEST_F(ServerTest, ForgetsAClientThatGoesAwayWithoutAWord) {
    for (std::size_t i = 0; i < 3 * ControlServer::clientLimit; ++i) {
        RawClient client(path);
        if (i % 2 == 0)
            client.say("sh");
        client.goAway();
        turns(3);
    }
    EXPECT_TRUE(answerTo("show\n").starts_with("ok\n"));
    EXPECT_EQ(server.counts().refusedClients, 0);
}

TEST_F(ServerTest, AClientThatDoesNotWaitForItsAnswerHarmsNobody) {
    for (int i = 0; i < 50; ++i) {
        RawClient client(path);
        client.say("show trees json\n");
        client.goAway();
        turns(2);
    }
    EXPECT_TRUE(answerTo("show\n").starts_with("ok\n"));
}

TEST_F(ServerTest, TurnsClientsAwayWhenThereAreTooMany) {
    std::list<RawClient> clients;
    for (std::size_t i = 0; i < ControlServer::clientLimit; ++i) {
        clients.emplace_back(path);
        turns(2);
    }
    EXPECT_EQ(answerTo("show\n"), "error\ntoo many clients\n");
    EXPECT_EQ(server.counts().refusedClients, 1);
    clients.pop_front();
    turns(3);
    EXPECT_TRUE(answerTo("show\n").starts_with("ok\n"));
}

TEST_F(ServerTest, TellsWatchersOfEachChange) {
    RawClient first(path);
    RawClient second(path);
    first.say("watch\n");
    second.say("watch\n");
    turns(5);
    server.changed("one\n");
    server.changed("two\n");
    await([&] {
        first.read();
        second.read();
        return first.heard().size() >= 11 && second.heard().size() >= 11;
    });
    EXPECT_EQ(first.heard(), "ok\none\ntwo\n");
    EXPECT_EQ(second.heard(), "ok\none\ntwo\n");
    EXPECT_FALSE(first.ended());

    first.goAway();
    turns(3);
    server.changed("three\n");
    await([&] {
        second.read();
        return second.heard().ends_with("three\n");
    });
}

TEST_F(ServerTest, CutsOffAWatcherThatNeverReads) {
    RawClient idle(path);
    RawClient reader(path);
    idle.say("watch\n");
    reader.say("watch\n");
    turns(5);
    const std::string line(1000, 'x');
    unsigned changes = 0;
    while (server.counts().unreadingClients == 0) {
        server.changed(line);
        ASSERT_LT(++changes, 10000U);
        turns(2);
        reader.read();
    }
    EXPECT_EQ(server.counts().unreadingClients, 1);
    await([&] {
        reader.read();
        return reader.heard().size() == 3 + changes * line.size();
    });
    EXPECT_FALSE(reader.ended());
}

TEST_F(ServerTest, AWatcherThatGoesOnTalkingIsNotHeard) {
    RawClient client(path);
    client.say("watch\n");
    turns(3);
    for (int i = 0; i < 100; ++i) {
        client.say("set priority 0\n");
        turns(1);
    }
    server.changed("line\n");
    await([&] {
        client.read();
        return client.heard() == "ok\nline\n";
    });
    EXPECT_EQ(rig.bridge.settings().priority, 32768);
    EXPECT_EQ(server.counts().requests, 1);
}

TEST_F(ServerTest, SetsWhatIsToBeSaid) {
    EXPECT_EQ(answerTo("set priority 4096\n"), "ok\n");
    EXPECT_EQ(answerTo("set cost 7\n"), "ok\n");
    EXPECT_EQ(rig.bridge.settings().priority, 4096);
    EXPECT_EQ(rig.bridge.settings().cost, 7);
    EXPECT_EQ(rig.changes.size(), 2);
    rig.bridge.hello(1s);
    EXPECT_EQ(rig.sent.at(0).frame.at(22), 0x10);
}

TEST_F(ServerTest, ShowsWhetherTheMirrorsAreInStep) {
    EXPECT_TRUE(answerTo("show mirror\n").starts_with("ok\nMirror "));
    EXPECT_TRUE(answerTo("show mirror json\n").starts_with("ok\n[\n  {\n    \"mirrors\": ["));
}

TEST_F(ServerTest, SwitchesTracesAndShowsThem) {
    EXPECT_EQ(answerTo("set trace */off,Stp*/8,Varnol/3\n"), "ok\n");
    EXPECT_TRUE(Zel::traceLevel("StpTxStatusSyncer", 8));
    EXPECT_FALSE(Zel::traceLevel("Varnol", 4));
    const std::string shown = answerTo("show traces\n");
    EXPECT_TRUE(shown.starts_with("ok\nHandle ")) << shown;
    EXPECT_NE(shown.find("\nStpTxStatusSyncer  0-8\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("\nVarnol             0-3\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("\nVarnol   0-3  4-9\n"), std::string::npos) << shown;
    EXPECT_TRUE(answerTo("show traces json\n").starts_with("ok\n[\n  {\n    \"handles\": ["));

    EXPECT_EQ(answerTo("set trace Varnol/off\n"), "ok\n");
    EXPECT_FALSE(Zel::traceLevel("Varnol", 0));
    EXPECT_TRUE(Zel::traceLevel("StpTxStatusSyncer", 8));
    EXPECT_EQ(answerTo("set trace Varnol/9,Stp*/\n"),
              "error\ntrace levels, octet 15: '' is no level; allowed: 0 to 9, or off\n");
    EXPECT_FALSE(Zel::traceLevel("Varnol", 0)); // nothing of it
    EXPECT_TRUE(answerTo("set trace NoSuch/5\n").starts_with("error\n'NoSuch' matches no trace"));
    EXPECT_EQ(answerTo("set trace */off\n"), "ok\n");
    EXPECT_FALSE(Zel::traceLevel("StpTxStatusSyncer", 8));
    EXPECT_EQ(rig.changes.size(), 0);
}

TEST_F(ServerTest, LivesOnWhenTheProcessHasNoMoreFiles) {
    RawClient client(path);
    client.say("show\n");
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 3;
    EventLoop& itsLoop =
        loop; // a sanitizer needs files to look into an object with virtual functions
    setrlimit(RLIMIT_NOFILE, &none);
    for (int i = 0; i < 20; ++i)
        itsLoop.turn(itsLoop.now());
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(server.counts().refusedClients, 1) << "tried once, not in each turn";
    await([&] { // when it tries again
        client.read();
        return client.ended();
    });
    EXPECT_TRUE(client.heard().starts_with("ok\n"));
}

/// A server whose clock the test sets.
class PatienceTest : public testing::Test {
  protected:
    void turns() {
        for (int i = 0; i < 5; ++i)
            loop.turn(loop.now());
    }
    /// Lets so much time pass, in which the server looks at its clients.
    void pass(Time time) {
        for (const Time end = clock + time; clock < end;) {
            clock += std::min<Time>(1s, end - clock);
            turns();
        }
    }

    Rig rig;
    Examples::TemporaryFolder folder;
    std::string path = folder.path() / "socket";
    Time clock{};
    EventLoop loop{[this] { return clock; }};
    ControlServer server{loop, path, rig.bridge};
};

TEST_F(PatienceTest, EndsWithAClientThatDoesNotSayWhatItWants) {
    RawClient silent(path);
    RawClient half(path);
    half.say("sho");
    turns();
    pass(ControlServer::patience);
    EXPECT_EQ(server.counts().silentClients, 0);
    pass(1s);
    EXPECT_EQ(server.counts().silentClients, 2);
    silent.read();
    EXPECT_TRUE(silent.ended());
}

TEST_F(PatienceTest, IsNotProlongedByClientsThatComeMeanwhile) {
    const RawClient silent(path);
    turns();
    for (const Time end = clock + ControlServer::patience + 2s; clock < end; clock += 500ms) {
        RawClient other(path);
        other.say("show\n");
        turns();
    }
    EXPECT_EQ(server.counts().silentClients, 1);
}

TEST_F(PatienceTest, EndsWithAClientThatDoesNotTakeItsAnswer) {
    for (int i = 0; i < 4000; ++i) // for an answer that the system has no room for
        rig.bridge.portIs("port" + std::to_string(i));
    RawClient client(path);
    client.say("show detail\n");
    turns();
    pass(ControlServer::patience + 1s);
    EXPECT_EQ(server.counts().unreadingClients, 1);
}

TEST_F(PatienceTest, LastsForAWatcherAsLongAsThereIsNothingToTell) {
    RawClient watcher(path);
    watcher.say("watch\n");
    turns();
    pass(10 * ControlServer::patience);
    server.changed("line\n");
    turns();
    watcher.read();
    EXPECT_EQ(watcher.heard(), "ok\nline\n");
    EXPECT_EQ(server.counts().silentClients + server.counts().unreadingClients, 0);
}

TEST_F(ServerTest, IsItsUsersAlone) {
    struct stat status {};
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(ServerTest, RefusesASecondAgentOnItsPathAndGoesOn) {
    EventLoop otherLoop;
    Rig otherRig;
    try {
        const ControlServer other(otherLoop, path, otherRig.bridge);
        ADD_FAILURE() << "two agents";
    } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), "control socket " + path + ": another agent is running there");
    }
    EXPECT_TRUE(answerTo("show\n").starts_with("ok\n"));
}

std::string failureAt(std::string const& path) {
    try {
        const ControlSocket socket(path);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "none";
}

TEST(ControlSocket, LeavesNothingBehind) {
    const Examples::TemporaryFolder folder;
    EXPECT_EQ(failureAt(folder.path() / "socket"), "none");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(ControlSocket, ReplacesTheSocketOfAnAgentThatIsGone) {
    const Examples::TemporaryFolder folder;
    const std::string path = folder.path() / "socket";
    {
        const Descriptor stale(socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un address = socketAddress(path);
        ASSERT_EQ(
            bind(stale.number(), reinterpret_cast<sockaddr const*>(&address), sizeof(address)), 0);
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    const ControlSocket socket(path);
    EXPECT_TRUE(RawClient(path).connected());
}

TEST(ControlSocket, LeavesWhatIsNoSocketAlone) {
    const Examples::TemporaryFolder folder;
    const auto file = folder.path() / "file";
    std::ofstream(file) << "mine";
    std::filesystem::create_symlink(file, folder.path() / "link");
    for (const char* name : {"file", "link"}) {
        const std::string path = folder.path() / name;
        EXPECT_EQ(failureAt(path),
                  "control socket " + path + ": something that is no socket stands there");
    }
    EXPECT_EQ(std::filesystem::file_size(file), 4);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "file.lock"));
}

TEST(ControlSocket, SaysWhyItCannotBeMade) {
    EXPECT_EQ(failureAt(""), "control socket : the path is to have 1 to 107 octets");
    EXPECT_NE(failureAt(std::string(108, 'x')).find("1 to 107 octets"), std::string::npos);
    EXPECT_NE(failureAt("/nowhere/socket").find("No such file"), std::string::npos);
}

class ClientTest : public ServerTest {
  protected:
    /// Makes a request while the server runs; what it printed, or its error.
    std::string requested(std::string const& request) {
        std::string result;
        std::thread client([&] {
            std::ostringstream out;
            try {
                Agent::request(path, request, out);
                result = out.str();
            } catch (std::runtime_error const& error) {
                result = std::string("error: ") + error.what();
            }
            done = true;
        });
        await([&] { return done.load(); });
        client.join();
        return result;
    }
    std::atomic<bool> done = false;
};

TEST_F(ClientTest, PrintsTheAnswer) { EXPECT_TRUE(requested("show").starts_with("Bridge ")); }

TEST_F(ClientTest, ThrowsTheErrorThatItIsAnswered) {
    EXPECT_EQ(requested("show nosuch"), "error: no port 'nosuch'; there are: eth0 eth1");
}

TEST(ControlClient, SaysThatThereIsNoAgent) {
    std::ostringstream out;
    try {
        request("/nowhere/socket", "show", out);
        ADD_FAILURE();
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "no agent at /nowhere/socket: No such file or directory");
    }
}

} // namespace
} // namespace Agent::Test
