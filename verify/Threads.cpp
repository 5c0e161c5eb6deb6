/// What threads may do with the library, for ThreadSanitizer to watch: two threads with a set of
/// mirrored trees each, which share nothing but what the framework counts; then, with thread-safe
/// pointers, two threads that hand objects and strings to each other, copy and drop them.

#include "framework/zel/Census.h"
#include "verify/MirroredTree.h"
#include "verify/Verify.h"

#include <atomic>
#include <iostream>
#include <optional>
#include <thread>
#include <vector>

namespace {

using Varnol::IntxInfo;
using Zel::U64;

constexpr unsigned threads = 2;

/// Runs work(thread) on each thread. Throws what one of them has thrown.
template <class Work> void onThreads(Work const& work) {
    std::array<std::exception_ptr, threads> thrown;
    std::vector<std::thread> running;
    for (unsigned thread = 0; thread < threads; ++thread)
        running.emplace_back([&, thread] {
            try {
                work(thread);
            } catch (...) {
                thrown[thread] = std::current_exception();
            }
        });
    for (std::thread& each : running)
        each.join();
    for (std::exception_ptr const& each : thrown) {
        if (each)
            std::rethrow_exception(each);
    }
}

/// Two sets of trees, each on a thread of its own, with references counted by plain operations.
void independentTrees(Verify::Run const& run, U64 operations) {
    std::array<std::optional<MirroredTree>, threads> trees;
    onThreads([&](unsigned thread) {
        std::mt19937_64 random(run.seed() + thread);
        MirroredTree& tree = trees[thread].emplace();
        for (U64 done = 0; done < operations;) {
            if (random() % 10 == 0)
                tree.togglePort(random);
            else if (!tree.change(random))
                continue;
            ++done;
        }
        tree.receiveAll();
        if (const std::string difference = tree.difference(); !difference.empty())
            Verify::found("on thread " + std::to_string(thread) + ": " + difference);
        if (!tree.findsWrongValues())
            Verify::found("a wrong value in a destination is not found");
    });
    MirroredTree::Objects expected;
    for (auto const& tree : trees) {
        for (auto const& [name, count] : tree->objects())
            expected[name] += count;
    }
    if (const std::string difference = censusDifference(expected); !difference.empty())
        Verify::found("after both threads the census is not the models': " + difference);
    onThreads([&](unsigned thread) { trees[thread].reset(); });
    Verify::expect(Zel::census().live() == 0, "something of the trees is left");
}

/// Where a thread leaves a record, with its reference, for whoever comes next.
using Mailbox = std::atomic<IntxInfo*>;

/// Puts the pointer into the mailbox and returns what was there.
IntxInfo::Ptr handOver(Mailbox& mailbox, IntxInfo::Ptr record) {
    IntxInfo* const former = mailbox.exchange(record.release(), std::memory_order_acq_rel);
    IntxInfo::Ptr taken(former);
    if (former)
        former->referenceDec(); // the mailbox's
    return taken;
}

/// A record whose revision and entry say the number that is its name.
IntxInfo::Ptr newRecord(U64 number) {
    IntxInfo::Ptr record(new IntxInfo(static_cast<Zel::U16>(number)));
    record->configNameStringIs(Zel::String(std::to_string(number)));
    record->configRevisionLevelIs(static_cast<Zel::U16>(number));
    record->mstiNIs(Stp::BridgeSystemId(0))->remainingHopsIs(static_cast<Zel::U8>(number));
    return record;
}

/// Ends the program where a record, its entry or its name are not what newRecord() has made.
void expectWhole(IntxInfo const& record, Zel::String const& name) {
    const U64 number = std::stoull(std::string(name.view()));
    const auto entry = record.mstiN(Stp::BridgeSystemId(0));
    Verify::expect(record.configRevisionLevel() == static_cast<Zel::U16>(number) && entry &&
                       entry->remainingHops() == static_cast<Zel::U8>(number),
                   "a record that was handed over is damaged");
}

/// The thread that has made a record.
U64 makerOf(IntxInfo const& record) { return record.configRevisionLevel() % threads; }

/// Two threads that share objects, with references counted atomically. Objects are changed only
/// before they are shared.
/// @return how many records of the other thread the threads took over
U64 sharedPointers(Verify::Run const& run, U64 operations) {
    Zel::VFPtrInterface::threadSafePointers_ = true;
    std::atomic<U64> takenOver{0};
    {
        std::array<Mailbox, 8> mailboxes{};
        // One record of which both threads have pointers all the time.
        const IntxInfo::Ptr always = newRecord(7);
        onThreads([&](unsigned thread) {
            std::mt19937_64 random(run.seed() + threads + thread);
            std::array<IntxInfo::Ptr, 16> records;
            std::array<Zel::String, 16> names;
            for (U64 done = 0; done < operations;) {
                IntxInfo::Ptr& record = records[random() % records.size()];
                Zel::String& name = names[random() % names.size()];
                switch (random() % 8) {
                case 0:
                    record = newRecord(random() % 500'000 * threads + thread);
                    break;
                case 1:
                case 2:
                    record = handOver(mailboxes[random() % mailboxes.size()], record);
                    std::this_thread::yield(); // or one is done before the other begins
                    if (record && record != always && makerOf(*record) != thread)
                        takenOver.fetch_add(1, std::memory_order_relaxed);
                    break;
                case 3: {
                    IntxInfo::Ptr const& other = records[random() % records.size()];
                    if (!record && !other)
                        continue; // nothing is done
                    record = other;
                    break;
                }
                case 4:
                    if (!record)
                        continue;
                    record = nullptr;
                    break;
                case 5:
                    record = always;
                    break;
                case 6: {
                    Zel::String const& other = names[random() % names.size()];
                    if (name.empty() && other.empty())
                        continue;
                    name = other;
                    break;
                }
                default:
                    if (record) {
                        name = record->configNameString();
                        expectWhole(*record, name);
                    } else {
                        name = always->configNameString();
                    }
                }
                ++done;
            }
        });
        for (Mailbox& mailbox : mailboxes)
            handOver(mailbox, nullptr);
        if (always->references() != 1)
            Verify::found("a shared object has " + std::to_string(always->references()) +
                          " references, not 1");
    }
    Zel::VFPtrInterface::threadSafePointers_ = false;
    Verify::expect(Zel::census().live() == 0, "something of what was shared is left");
    Verify::expect(takenOver != 0, "no thread has taken over a record of the other one");
    return takenOver;
}

std::string verify(Verify::Run& run) {
    const U64 operations = run.times(1'000'000);
    independentTrees(run, operations);
    const U64 takenOver = sharedPointers(run, operations);
    std::cout << "note: records that the other thread had made were taken over "
              << Verify::grouped(takenOver) << " times" << std::endl;
    return Verify::grouped(operations) +
           " operations on each of two threads with trees of its own, " +
           Verify::grouped(operations) + " on each of two that share pointers";
}

} // namespace

int main(int argc, char** argv) { return Verify::Run::main(argc, argv, verify); }
