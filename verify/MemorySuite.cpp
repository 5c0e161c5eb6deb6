/// The main program of a room's tests while memory runs out in them:
///
///   PROGRAM FUNCTIONS SITES PART [GoogleTest's options]
///
/// Each PART-th test runs in child processes: once to learn where the library allocates in it; then
/// again and again, with one of these allocations refused, or that one and all to come. Refused are
/// the first three by each chain of the library's callers; of a test with many allocations, as the
/// random ones have, the first by each chain that no test has had refused, after all the others.
/// Looked at are a test's first ten thousand allocations.
/// What a test itself allocates, and what is allocated in other threads than the test's own, is
/// granted; how many tests have more allocations, or such threads, is told.
///
/// A test may pass all the same, and mostly it fails: what it expects is not so any more. But it
/// must come to its end, no process be ended by the library, and no object and no memory of the
/// library be left behind. Where the exception meets a function of the test that lets none out, as
/// a destructor, nothing is to be learnt of the library: that allocation alone is granted, when all
/// are refused.
///
/// At its beginning, the test has not run in the process; where it leaves memory that is kept for
/// later, this is done once more when it has, if it can pass again.
///
/// FUNCTIONS tells whose the functions are (see MemoryCallers.h). SITES gets a line for each chain
/// of callers: how often it was met, refused once, and refused as one of all, and the return
/// addresses, the innermost first; and one for each place where a test has ended its process:
/// "end", how often, the address.

#include "framework/zel/TypeNode.h"
#include "tests/framework/AllocationWatch.h"
#include "verify/MemoryBlocks.h"
#include "verify/MemoryCallers.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <execinfo.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Zel::U32;
using Zel::U64;

/// So many allocations by one chain of callers are refused in one test.
constexpr U32 refusedOfEach = 3;
/// A test that asks for memory more often than this, with what is not the library's, is long.
constexpr U64 manyAllocations = 1'000;
/// So many of a test's allocations are looked at, with what is not the library's.
constexpr U64 mostLookedAt = 10'000;

enum class Refused { none, one, all };

/// What the processes share.
struct Shared {
    struct Met {
        U64 hash; // 0 for an empty place
        U32 test; // the last in which it was met, and how often
        U32 inTest;
        U64 seen, refused, refusedOfAll;
        std::array<std::uintptr_t, Chain::length> callers;
    };
    static constexpr std::size_t places = 1 << 16;

    // Of the last process:
    U64 lookedAt;
    bool isCut;      // there were more than are looked at
    U32 byOthers;    // 1 where other threads have allocated; atomic
    U64 allocations; // of the library
    U64 refused;
    U64 lastRefused;
    U64 blocks;           // of memory left
    std::int64_t objects; // left
    bool ended;           // came to the test's end
    std::uintptr_t endedAt;
    bool endedByTest; // by a function of the test's that let the exception not out
    bool passed;
    bool ranOut; // was ended by std::bad_alloc

    struct Choice {
        U64 number; // of the library's allocations in the test
        bool isNew; // no such one was refused before
    };
    U64 chosen;
    std::array<Choice, places> choice;

    U64 chains;
    std::array<Met, places> met;
};

constinit MemoryBlocks blocks;

std::int64_t liveObjects() noexcept {
    U64 live = 0;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
        live += type->allocations().liveCount();
    return static_cast<std::int64_t>(live);
}

/// What is refused in a process.
struct Plan {
    Refused refused = Refused::none;
    U64 at = 0;               ///< the first
    std::vector<U64> granted; ///< of those after it
};

/// Refuses what is to be refused in this process, and keeps account.
class Watch final : public AllocationWatch {
  public:
    Watch(Functions const& functions, Shared& shared) noexcept
        : functions_(functions)
        , shared_(shared) {}

    void begin(Plan const& plan, U32 test) noexcept {
        plan_ = &plan;
        test_ = test;
        isMain = true;
        start(this);
    }

    bool refuses() noexcept override {
        isLibrarys = false;
        if (!isMain) {
            std::atomic_ref(shared_.byOthers).store(1, std::memory_order_relaxed);
            return false;
        }
        if (shared_.lookedAt == mostLookedAt) {
            shared_.isCut = true;
            if (!refusesAll())
                return false;
        }
        shared_.lookedAt = std::min(shared_.lookedAt + 1, mostLookedAt);
        const bool learns = plan_->refused == Refused::none;
        const Chain chain = chainOfCallers(functions_, learns ? Chain::length : 1);
        isLibrarys = chain.known != 0;
        if (!isLibrarys)
            return false;
        const U64 number = ++shared_.allocations;
        if (learns) {
            learn(chain, number);
            return false;
        }
        if (number < plan_->at || (number > plan_->at && plan_->refused == Refused::one) ||
            std::ranges::find(plan_->granted, number) != plan_->granted.end())
            return false;
        Shared::Met& met = placeOf(chainOfCallers(functions_, Chain::length));
        ++(plan_->refused == Refused::one ? met.refused : met.refusedOfAll);
        ++shared_.refused;
        shared_.lastRefused = number;
        return true;
    }
    void made(void* memory) noexcept override {
        if (!isLibrarys)
            return;
        const Locked locked(lock_);
        blocks.add(memory);
    }
    void freed(void* memory) noexcept override {
        const Locked locked(lock_);
        blocks.remove(memory);
    }

  private:
    class Locked {
      public:
        explicit Locked(std::atomic_flag& lock) noexcept
            : lock_(lock) {
            while (lock_.test_and_set(std::memory_order_acquire)) {
            }
        }
        ~Locked() { lock_.clear(std::memory_order_release); }
        Locked(Locked const&) = delete;
        Locked& operator=(Locked const&) = delete;

      private:
        std::atomic_flag& lock_;
    };

    /// Whether all that the library asks for from here on is refused.
    bool refusesAll() const noexcept {
        return plan_->refused == Refused::all && shared_.allocations >= plan_->at;
    }

    void learn(Chain const& chain, U64 number) noexcept {
        Shared::Met& met = placeOf(chain);
        ++met.seen;
        if (met.test != test_) {
            met.test = test_;
            met.inTest = 0;
        }
        if (met.inTest == refusedOfEach)
            return;
        const bool isNew = met.inTest++ == 0 && met.refused == 0;
        if (shared_.chosen == Shared::places)
            std::abort(); // so many are in no test
        shared_.choice[shared_.chosen++] = {number, isNew};
    }

    Shared::Met& placeOf(Chain const& chain) noexcept {
        const U64 hash = chain.hash() | 1;
        std::size_t at = hash % Shared::places;
        while (shared_.met[at].hash != 0 && shared_.met[at].hash != hash)
            at = (at + 1) % Shared::places;
        Shared::Met& met = shared_.met[at];
        if (met.hash == 0) {
            if (++shared_.chains == Shared::places)
                std::abort(); // so many are in no room
            met.hash = hash;
            met.callers = chain.callers;
        }
        return met;
    }

    static thread_local bool isMain;
    static thread_local bool isLibrarys; // what is being made

    Functions const& functions_;
    Shared& shared_;
    std::atomic_flag lock_;
    Plan const* plan_ = nullptr;
    U32 test_ = 0;
};

constinit thread_local bool Watch::isMain = false;
constinit thread_local bool Watch::isLibrarys = false;

Functions functions;
Shared* shared = nullptr;

/// Tells whose end it is, where an exception is that nobody takes.
[[noreturn]] void endedByException() {
    AllocationWatch::start(nullptr);
    shared->endedAt = placeOfEnd(functions);
    shared->endedByTest =
        shared->endedAt != 0 && functions.at(shared->endedAt - 1) == Functions::Owner::test;
    std::abort();
}

/// Shows who has called.
void showCallers(int) {
    AllocationWatch::start(nullptr);
    std::array<void*, 60> callers;
    ::backtrace_symbols_fd(callers.data(), ::backtrace(callers.data(), callers.size()),
                           STDERR_FILENO);
}

/// Runs each test in children before it runs here.
class Exhausting final : public testing::EmptyTestEventListener {
  public:
    explicit Exhausting(U64 part)
        : watch_(functions, *shared)
        , part_(part)
        , output_(::memfd_create("output", 0)) {}

    void OnTestStart(testing::TestInfo const& info) override {
        name_ = std::string(info.test_suite_name()) + "." + info.name();
        if (round_ == 0 ? isWanted() : round_ == 1 ? kept_.contains(name_) : long_.contains(name_))
            exhaust();
        if (!inChild_ && !(round_ == 0 && kept_.contains(name_)))
            GTEST_SKIP();
    }

    void OnTestEnd(testing::TestInfo const& info) override {
        if (!inChild_)
            return;
        AllocationWatch::start(nullptr);
        shared->blocks = blocks.count();
        shared->objects = liveObjects() - objects_;
        shared->passed = info.result()->Passed();
        for (int part = 0; part < info.result()->total_part_count(); ++part) {
            if (std::strstr(info.result()->GetTestPartResult(part).message(), "std::bad_alloc"))
                shared->ranOut = true;
        }
        shared->ended = true;
        std::fflush(nullptr);
        ::_exit(0);
    }

    void OnTestIterationEnd(testing::UnitTest const&, int) override { ++round_; }

    // What was done, and what became of it.
    U64 tested = 0, longOnes = 0, cut = 0, threaded = 0, leftOut = 0, keptAgain = 0;
    U64 once = 0, always = 0, passed = 0, ranOut = 0, failed = 0, endedByTest = 0, granted = 0;
    U64 found = 0;
    std::map<std::uintptr_t, U64> ends; ///< how often a test ended itself, by where

  private:
    bool isWanted() {
        if (name_.find("DeathTest") != std::string::npos) {
            ++leftOut;
            return false;
        }
        return tests_++ % part_ == 0;
    }

    /// Runs the test in children; returns in each of these, too.
    void exhaust() {
        ++test_;
        shared->chosen = 0;
        if (isChild({}))
            return;
        if (round_ == 1 && !shared->passed)
            return; // passes only once in a process
        const bool isLong = shared->lookedAt > manyAllocations;
        if (round_ == 0 && isLong) {
            long_.insert(name_);
            return;
        }
        judge({});
        allowed_ = shared->blocks;
        if (allowed_ != 0) {
            if (round_ == 0)
                kept_.insert(name_);
            else if (round_ == 1)
                ++keptAgain;
        }
        tested += round_ != 1;
        longOnes += isLong;
        if (round_ != 1) {
            cut += shared->isCut;
            threaded += shared->byOthers;
        }
        for (U64 which = 0; which < shared->chosen; ++which) {
            const auto [number, isNew] = shared->choice[which];
            if (isLong && !isNew)
                continue;
            for (const Refused refused : {Refused::one, Refused::all}) {
                if (isChildOfSome({refused, number, {}}))
                    return;
            }
        }
    }

    /// Runs the test as planned, again when it ended itself; at last granting what it needs for
    /// that not to happen.
    /// @return whether this is the child
    bool isChildOfSome(Plan plan) {
        while (true) {
            if (isChild(plan))
                return true;
            if (!shared->endedByTest || plan.refused == Refused::one ||
                shared->lastRefused == plan.at || plan.granted.size() == mostGranted)
                break;
            plan.granted.push_back(shared->lastRefused);
        }
        granted += plan.granted.size();
        judge(plan);
        return false;
    }

    /// Forks; the child goes on with the test.
    /// @return whether this is the child
    bool isChild(Plan const& plan) {
        shared->lookedAt = shared->allocations = shared->refused = shared->lastRefused =
            shared->blocks = 0;
        shared->objects = 0;
        shared->byOthers = 0;
        shared->isCut = shared->ended = shared->endedByTest = shared->passed = shared->ranOut =
            false;
        std::fflush(nullptr);
        const pid_t child = ::fork();
        if (child < 0) {
            std::perror("fork");
            std::exit(2);
        }
        if (child == 0) {
            inChild_ = true;
            if (::ftruncate(output_, 0) != 0 || ::lseek(output_, 0, SEEK_SET) != 0)
                std::perror("output");
            ::dup2(output_, STDOUT_FILENO);
            ::dup2(output_, STDERR_FILENO);
            ::alarm(60); // if it does not come to its end
            std::set_terminate(endedByException);
            struct sigaction showing {};
            showing.sa_handler = showCallers;
            showing.sa_flags = static_cast<int>(SA_RESETHAND); // and then it ends
            for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE})
                ::sigaction(signal, &showing, nullptr);
            objects_ = liveObjects();
            plan_ = plan;
            watch_.begin(plan_, test_);
            return true;
        }
        ::waitpid(child, &status_, 0);
        return false;
    }

    void judge(Plan const& plan) {
        const bool refused = plan.refused != Refused::none;
        std::string wrong;
        if (refused && shared->endedByTest)
            ; // it is not the library that ends it
        else if (!shared->ended)
            wrong = WIFSIGNALED(status_) ? "ended by signal " + std::to_string(WTERMSIG(status_))
                                         : "did not come to its end";
        else if (shared->objects != 0)
            wrong = "left " + std::to_string(shared->objects) + " objects behind";
        else if (!refused && !shared->passed)
            wrong = "failed with memory";
        else if (refused && shared->refused == 0)
            wrong = "did not ask for that memory again";
        else if (refused && shared->blocks > allowed_)
            wrong = "left " + std::to_string(shared->blocks) + " blocks of memory behind";
        if (!wrong.empty()) {
            ++found;
            std::cerr << name_ << ", allocation " << plan.at
                      << (plan.refused == Refused::all ? " and all after it refused: "
                                                       : " refused: ")
                      << wrong << "\n";
            showOutput();
        }
        if (!refused)
            return;
        ++(plan.refused == Refused::one ? once : always);
        if (shared->endedByTest)
            ++ends[shared->endedAt];
        ++(shared->endedByTest ? endedByTest
           : shared->passed    ? passed
           : shared->ranOut    ? ranOut
                               : failed);
    }

    void showOutput() const {
        char text[8000];
        const ssize_t size = ::pread(output_, text, sizeof text, 0);
        if (size > 0)
            std::cerr.write(text, size) << "\n";
    }

    static constexpr std::size_t mostGranted = 20;

    Watch watch_;
    U64 part_;
    int output_;
    int status_ = 0; // of the last child
    std::string name_;
    bool inChild_ = false;
    Plan plan_; // the child's
    std::int64_t objects_ = 0;
    U64 allowed_ = 0;
    U64 tests_ = 0;
    U32 test_ = 0;
    unsigned round_ = 0;
    std::set<std::string> kept_; // tests for round 1
    std::set<std::string> long_; // and 2
};

} // namespace

int main(int argc, char** argv) {
    std::vector<char*> rest{argv[0]};
    if (argc >= 4)
        rest.insert(rest.end(), argv + 4, argv + argc);
    int count = static_cast<int>(rest.size());
    rest.push_back(nullptr);
    testing::InitGoogleTest(&count, rest.data());
    const U64 part = argc < 4 ? 0 : std::strtoull(argv[3], nullptr, 10);
    if (part == 0 || count != 1) {
        std::cerr << "usage: " << argv[0] << " FUNCTIONS SITES PART [GoogleTest's options]\n";
        return 2;
    }
    functions.read(argv[1]);
    void* const memory =
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (functions.empty() || memory == MAP_FAILED) {
        std::cerr << argv[0] << ": no functions, or no memory to share\n";
        return 2;
    }
    shared = static_cast<Shared*>(memory); // all zero
    auto* const exhausting = new Exhausting(part);
    testing::UnitTest::GetInstance()->listeners().Append(exhausting); // which owns it
    testing::GTEST_FLAG(repeat) = 3;
    if (RUN_ALL_TESTS() != 0)
        return 1;
    std::ofstream sites(argv[2]);
    for (Shared::Met const& met : shared->met) {
        if (met.hash == 0)
            continue;
        sites << std::dec << met.seen << " " << met.refused << " " << met.refusedOfAll << std::hex;
        for (const std::uintptr_t caller : met.callers) {
            if (caller != 0)
                sites << " " << functions.inProgram(caller);
        }
        sites << "\n";
    }
    for (auto const& [place, times] : exhausting->ends)
        sites << "end " << std::dec << times << " " << std::hex << functions.inProgram(place)
              << "\n";
    std::cout << "tests " << exhausting->tested << "\nlong " << exhausting->longOnes << "\ncut "
              << exhausting->cut << "\nthreaded " << exhausting->threaded << "\nleft out "
              << exhausting->leftOut << "\nkept again " << exhausting->keptAgain << "\nonce "
              << exhausting->once << "\nalways " << exhausting->always << "\npassed "
              << exhausting->passed << "\nran out " << exhausting->ranOut << "\nfailed "
              << exhausting->failed << "\nended by test " << exhausting->endedByTest << "\ngranted "
              << exhausting->granted << "\nfound " << exhausting->found << std::endl;
    return exhausting->found == 0 && sites.flush() ? 0 : 1;
}
