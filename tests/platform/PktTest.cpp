#include "platform/kolvu/Pkt.h"

#include "framework/zel/Exception.h"
#include "tests/framework/FailingAllocation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <thread>
#include <vector>

namespace {

using Kolvu::globalPktManager;
using Kolvu::Pkt;
using Zel::U32;
using Zel::U8;

/// A capacity for one test.
class Capacity {
  public:
    explicit Capacity(U32 capacity)
        : former_(globalPktManager().capacity()) {
        globalPktManager().capacityIs(capacity);
    }
    Capacity(Capacity const&) = delete;
    ~Capacity() { globalPktManager().capacityIs(former_); }

  private:
    U32 former_;
};

/// Counting with atomic operations for one test.
class ThreadSafePointers {
  public:
    ThreadSafePointers() { Zel::VFPtrInterface::threadSafePointers_ = true; }
    ThreadSafePointers(ThreadSafePointers const&) = delete;
    ~ThreadSafePointers() { Zel::VFPtrInterface::threadSafePointers_ = false; }
};

Pkt::Ptr newPkt() { return globalPktManager().newPkt(); }

/// Grows the packet and gives all new octets the value.
void grow(Pkt::Ptr const& packet, U32 n, U8 value) {
    packet->newSharedHeadData(n);
    std::ranges::fill(packet->data().first(n), value);
}

Pkt::Ptr packetOf(U32 n, U8 value) {
    Pkt::Ptr packet = newPkt();
    grow(packet, n, value);
    return packet;
}

/// Packets that have all memory that was kept, so that what comes next needs more.
std::vector<Pkt::Ptr> allKeptMemory() {
    std::vector<Pkt::Ptr> packets(Pkt::Manager::keptLimit + 1);
    std::ranges::generate(packets, newPkt);
    return packets;
}

bool holds(Pkt::Ptr const& packet, std::vector<U8> const& octets) {
    return std::ranges::equal(packet->data(), octets);
}

// The pool

TEST(PktManager, HandsOutPacketsWithoutData) {
    const Pkt::Ptr packet = newPkt();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->data().size(), 0U);
    EXPECT_EQ(packet->references(), 1U);
}

TEST(PktManager, HandsOutAsManyAsItsCapacityAndThenNone) {
    const Capacity capacity(3);
    const Pkt::Ptr first = newPkt();
    Pkt::Ptr second = newPkt();
    const Pkt::Ptr third = newPkt();
    EXPECT_TRUE(first && second && third);
    EXPECT_FALSE(newPkt());
    EXPECT_FALSE(first->clone());
    EXPECT_EQ(globalPktManager().inUse(), 3U);
    second = nullptr;
    EXPECT_EQ(globalPktManager().inUse(), 2U);
    const Pkt::Ptr fourth = newPkt();
    EXPECT_TRUE(fourth);
    EXPECT_FALSE(newPkt());
}

TEST(PktManager, WithALoweredCapacityWaitsUntilEnoughAreBack) {
    const Capacity capacity(4);
    std::vector<Pkt::Ptr> packets;
    for (int i = 0; i < 4; ++i)
        packets.push_back(newPkt());
    globalPktManager().capacityIs(2);
    EXPECT_EQ(globalPktManager().capacity(), 2U);
    EXPECT_EQ(globalPktManager().inUse(), 4U);
    packets.pop_back();
    EXPECT_FALSE(newPkt());
    packets.pop_back();
    EXPECT_FALSE(newPkt());
    packets.pop_back();
    EXPECT_TRUE(newPkt());
    globalPktManager().capacityIs(0);
    packets.clear();
    EXPECT_FALSE(newPkt());
}

TEST(PktManager, HasTheCapacityThatItDocuments) {
    EXPECT_EQ(globalPktManager().capacity(), Pkt::Manager::defaultCapacity);
    std::vector<Pkt::Ptr> packets(Pkt::Manager::defaultCapacity);
    for (Pkt::Ptr& packet : packets) {
        packet = newPkt();
        ASSERT_TRUE(packet);
    }
    EXPECT_FALSE(newPkt());
}

TEST(PktManager, AClonedPacketIsOneMoreInUse) {
    const U32 before = globalPktManager().inUse();
    Pkt::Ptr packet = packetOf(53, 1);
    Pkt::Ptr clone = packet->clone();
    EXPECT_EQ(globalPktManager().inUse(), before + 2);
    packet = nullptr;
    EXPECT_EQ(globalPktManager().inUse(), before + 1);
    clone = nullptr;
    EXPECT_EQ(globalPktManager().inUse(), before);
}

TEST(PktManager, AllocatesNothingOnceWarm) {
    const auto sendOne = [](U32 size) {
        const Pkt::Ptr packet = packetOf(size, 1);
        const Pkt::Ptr clone = packet->clone();
        grow(clone, 1, 2);
        EXPECT_EQ(packet->data().size() + 1, clone->data().size());
    };
    sendOne(53);
    const std::size_t before = FailingAllocation::made();
    for (U32 i = 0; i < 1000; ++i)
        sendOne(i % 1518);
    EXPECT_EQ(FailingAllocation::made(), before);
}

TEST(PktManager, AllocatesNothingForASharedBufferOnceWarm) {
    for (const bool threadSafe : {false, true}) {
        SCOPED_TRACE(threadSafe);
        std::optional<ThreadSafePointers> switchedOn;
        if (threadSafe)
            switchedOn.emplace();
        const auto share = [] {
            Pkt::Ptr packet = packetOf(53, 1);
            const Pkt::Ptr clone = packet->clone();
            grow(packet, 1, 2);
            packet = nullptr;
            const Pkt::Ptr second = clone->clone();
        };
        share();
        const std::size_t made = FailingAllocation::made();
        const std::ptrdiff_t outstanding = FailingAllocation::outstanding();
        for (U32 i = 0; i <= Pkt::Manager::keptLimit; ++i)
            share();
        EXPECT_EQ(FailingAllocation::made(), made);
        EXPECT_EQ(FailingAllocation::outstanding(), outstanding);
    }
}

TEST(PktManager, KeepsNoMemoryOfMoreThanTheUsualSize) {
    const std::vector<Pkt::Ptr> packets = allKeptMemory(); // so that more would be kept
    packetOf(1, 1);
    const std::ptrdiff_t outstanding = FailingAllocation::outstanding();
    packetOf(Pkt::Manager::usualSize, 1);
    EXPECT_EQ(FailingAllocation::outstanding(), outstanding);
}

TEST(PktManager, KeepsMemoryOfNoMorePacketsThanItDocuments) {
    constexpr U32 extra = 10;
    std::vector<Pkt::Ptr> packets;
    for (U32 i = 0; i < Pkt::Manager::keptLimit + extra; ++i)
        packets.push_back(newPkt());
    const std::ptrdiff_t before = FailingAllocation::outstanding();
    for (Pkt::Ptr& packet : packets)
        packet = nullptr;
    EXPECT_EQ(FailingAllocation::outstanding(), before - std::ptrdiff_t{extra});
    for (Pkt::Ptr& packet : packets)
        packet = newPkt();
    EXPECT_EQ(FailingAllocation::outstanding(), before);
}

TEST(PktManager, ReturnsNoPacketWhenMemoryIsExhausted) {
    const std::vector<Pkt::Ptr> packets = allKeptMemory();
    const U32 inUse = globalPktManager().inUse();
    {
        const FailingAllocation failure(1);
        EXPECT_FALSE(newPkt());
        EXPECT_TRUE(failure.happened());
        EXPECT_EQ(failure.refused(), Pkt::Manager::usualSize);
    }
    {
        const FailingAllocation failure(1);
        EXPECT_FALSE(packets.front()->clone());
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(globalPktManager().inUse(), inUse);
    EXPECT_TRUE(newPkt());
}

TEST(PktManager, HandsOutAPacketWithDataAsIfItHadGrown) {
    const U32 inUse = globalPktManager().inUse();
    for (U32 n : {0U, 1U, 53U, 1518U, Pkt::Manager::usualSize, 3 * Pkt::Manager::usualSize}) {
        const Pkt::Ptr packet = globalPktManager().newPkt(n);
        ASSERT_TRUE(packet);
        EXPECT_EQ(packet->data().size(), n);
        EXPECT_EQ(packet->references(), 1U);
        EXPECT_EQ(globalPktManager().inUse(), inUse + 1);
        std::ranges::fill(packet->data(), U8{7});
        grow(packet, 2, 8);
        EXPECT_EQ(packet->data().size(), n + 2);
        EXPECT_TRUE(std::ranges::all_of(packet->data().subspan(2), [](U8 at) { return at == 7; }));
    }
    EXPECT_EQ(globalPktManager().inUse(), inUse);
}

TEST(PktManager, HandsOutNoPacketWithDataBeyondItsCapacity) {
    const Capacity capacity(1);
    const Pkt::Ptr only = newPkt();
    for (U32 n : {53U, 2 * Pkt::Manager::usualSize})
        EXPECT_FALSE(globalPktManager().newPkt(n));
}

TEST(PktManager, KeepsNoPacketWhoseDataFindNoMemory) {
    const std::vector<Pkt::Ptr> packets = allKeptMemory();
    const U32 inUse = globalPktManager().inUse();
    {
        const FailingAllocation failure(1);
        EXPECT_FALSE(globalPktManager().newPkt(53));
        EXPECT_TRUE(failure.happened());
    }
    {
        const FailingAllocation failure(2);
        EXPECT_THROW(globalPktManager().newPkt(5000), std::bad_alloc);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(globalPktManager().inUse(), inUse);
}

// Data

TEST(Pkt, GrowsToExactlyTheOctetsAskedFor) {
    for (U32 size : {1U, 17U, 53U, 1518U, 1960U, 2048U, 65535U, 1000000U}) {
        const Pkt::Ptr packet = packetOf(size, 0x5a);
        EXPECT_EQ(packet->data().size(), size);
        EXPECT_TRUE(holds(packet, std::vector<U8>(size, 0x5a)));
    }
}

TEST(Pkt, NewHeadDataComesInFrontOfTheOld) {
    const Pkt::Ptr packet = packetOf(36, 0xbb);
    U8 const* const bpdu = packet->data().data();
    grow(packet, 17, 0xaa);
    EXPECT_EQ(packet->data().data(), bpdu - 17);
    std::vector<U8> expected(17, 0xaa);
    expected.insert(expected.end(), 36, 0xbb);
    EXPECT_TRUE(holds(packet, expected));
}

TEST(Pkt, GrowingByNothingChangesNothing) {
    const Pkt::Ptr empty = newPkt();
    empty->newSharedHeadData(0);
    EXPECT_EQ(empty->data().size(), 0U);
    const Pkt::Ptr packet = packetOf(3, 7);
    const Pkt::Ptr clone = packet->clone();
    U8 const* const base = packet->data().data();
    packet->newSharedHeadData(0);
    EXPECT_EQ(packet->data().data(), base);
    EXPECT_EQ(clone->data().data(), base);
    EXPECT_TRUE(holds(packet, {7, 7, 7}));
}

TEST(Pkt, KeepsItsDataWhenItOutgrowsItsHeadRoom) {
    const Pkt::Ptr packet = newPkt();
    std::vector<U8> expected;
    U32 moves = 0;
    for (U32 i = 0; i < 5000; ++i) {
        U8 const* const base = packet->data().data();
        grow(packet, 1, static_cast<U8>(i));
        expected.insert(expected.begin(), static_cast<U8>(i));
        if (packet->data().data() != base - 1)
            ++moves;
    }
    EXPECT_TRUE(holds(packet, expected));
    EXPECT_GT(moves, 0U);
    EXPECT_LT(moves, 50U);
}

TEST(Pkt, AFrameOfFullSizeStandsInTheFirstBuffer) {
    const Pkt::Ptr packet = newPkt();
    const std::size_t before = FailingAllocation::made();
    grow(packet, 1500, 1);
    grow(packet, 22, 2);
    EXPECT_EQ(FailingAllocation::made(), before);
}

TEST(Pkt, DataInItsFirstBufferLieBehindItsOwnOctetsAndEndAtOnePlace) {
    // How far from the packet's own octets something is that may be elsewhere.
    const auto from = [](Pkt::Ptr const& packet, U8 const* place) {
        return reinterpret_cast<std::uintptr_t>(place) -
               reinterpret_cast<std::uintptr_t>(packet.ptr() + 1);
    };
    const Pkt::Ptr empty = newPkt();
    const std::uintptr_t room = from(empty, empty->data().data());
    const auto size = static_cast<U32>(room);
    for (const U32 n : {size - 1, size, size + 1}) {
        SCOPED_TRACE(n);
        const Pkt::Ptr packet = globalPktManager().newPkt(n);
        // One octet more would take the packet's last one.
        EXPECT_EQ(from(packet, packet->data().data()) == room - n, n <= size);
    }
    // A clone that moves to the buffer that it came with has its data end there, too.
    const Pkt::Ptr packet = packetOf(3, 1);
    const Pkt::Ptr clone = packet->clone();
    grow(clone, 1, 2);
    EXPECT_EQ(from(clone, clone->data().data()), room - 4);
}

TEST(Pkt, RefusesFourGigaoctetsOfData) {
    const Pkt::Ptr packet = packetOf(53, 9);
    const std::size_t before = FailingAllocation::made();
    U8 const* const base = packet->data().data();
    for (U32 n : {std::numeric_limits<U32>::max(), std::numeric_limits<U32>::max() - 52}) {
        try {
            packet->newSharedHeadData(n);
            ADD_FAILURE();
        } catch (Zel::RangeException const& error) {
            EXPECT_STREQ(error.what(), "a packet with 2^32 octets of data or more is not allowed");
        }
    }
    EXPECT_LE(FailingAllocation::made() - before, 4U); // the exceptions, not the data
    EXPECT_EQ(packet->data().data(), base);
    EXPECT_TRUE(holds(packet, std::vector<U8>(53, 9)));
}

TEST(Pkt, IsAsItWasWhenMemoryIsExhausted) {
    const Pkt::Ptr packet = packetOf(53, 9);
    const Pkt::Ptr clone = packet->clone();
    U8 const* const base = packet->data().data();
    for (U32 n : {5000U, 3000000000U, std::numeric_limits<U32>::max() - 53}) {
        const FailingAllocation failure(1);
        EXPECT_THROW(packet->newSharedHeadData(n), std::bad_alloc);
        EXPECT_TRUE(failure.happened());
        EXPECT_GT(failure.refused(), n) << "it was not the octets that were refused";
        EXPECT_EQ(packet->data().data(), base);
        EXPECT_TRUE(holds(packet, std::vector<U8>(53, 9)));
        EXPECT_EQ(clone->data().data(), base);
    }
    grow(packet, 2, 8);
    EXPECT_EQ(packet->data().size(), 55U);
    EXPECT_TRUE(holds(clone, std::vector<U8>(53, 9)));
}

TEST(Pkt, IsAsItWasWhenThereIsNoMemoryForOctetsThatNobodyShares) {
    const std::vector<Pkt::Ptr> packets = allKeptMemory();
    const Pkt::Ptr packet = packetOf(3, 7);
    const Pkt::Ptr clone = packet->clone();
    {
        const FailingAllocation failure(1);
        EXPECT_THROW(packet->newSharedHeadData(5), std::bad_alloc);
        EXPECT_TRUE(failure.happened());
    }
    EXPECT_TRUE(holds(packet, {7, 7, 7}));
    EXPECT_EQ(packet->data().data(), clone->data().data());
    grow(packet, 1, 8);
    EXPECT_TRUE(holds(packet, {8, 7, 7, 7}));
    EXPECT_TRUE(holds(clone, {7, 7, 7}));
}

TEST(Pkt, HasOneIoVecThatIsItsData) {
    const Pkt::Ptr packet = packetOf(53, 1);
    EXPECT_EQ(packet->ioVecCount(), 1U);
    EXPECT_EQ(packet->ioVec().base, packet->data().data());
    EXPECT_EQ(packet->ioVec(0).length, 53U);
    packet->ioVec().base[52] = 3;
    EXPECT_EQ(packet->data().back(), 3);
    Zel::Ptr<Pkt const> const readOnly = packet;
    EXPECT_EQ(readOnly->data().back(), 3);
}

// Sharing

TEST(Pkt, AClonesDataIsTheSameOctets) {
    const Pkt::Ptr packet = packetOf(53, 1);
    const Pkt::Ptr clone = packet->clone();
    EXPECT_NE(clone, packet);
    EXPECT_EQ(clone->data().data(), packet->data().data());
    EXPECT_EQ(clone->data().size(), 53U);
    clone->data()[5] = 6;
    EXPECT_EQ(packet->data()[5], 6);
}

TEST(Pkt, AnEmptyPacketClonesToAnEmptyOne) {
    const Pkt::Ptr packet = newPkt();
    const Pkt::Ptr clone = packet->clone();
    ASSERT_TRUE(clone);
    EXPECT_EQ(clone->data().size(), 0U);
    grow(clone, 2, 2);
    grow(packet, 1, 1);
    EXPECT_TRUE(holds(clone, {2, 2}));
    EXPECT_TRUE(holds(packet, {1}));
}

TEST(Pkt, AGrownCloneHasItsOwnOctets) {
    const Pkt::Ptr packet = packetOf(3, 1);
    const Pkt::Ptr clone = packet->clone();
    grow(clone, 2, 2);
    clone->data()[4] = 9;
    EXPECT_TRUE(holds(packet, {1, 1, 1}));
    EXPECT_TRUE(holds(clone, {2, 2, 1, 1, 9}));
}

TEST(Pkt, AGrownOriginalLeavesItsOctetsToTheClone) {
    const Pkt::Ptr packet = packetOf(3, 1);
    const Pkt::Ptr clone = packet->clone();
    grow(packet, 2, 2);
    packet->data()[4] = 9;
    EXPECT_TRUE(holds(clone, {1, 1, 1}));
    EXPECT_TRUE(holds(packet, {2, 2, 1, 1, 9}));
    grow(clone, 1, 3);
    EXPECT_TRUE(holds(clone, {3, 1, 1, 1}));
    EXPECT_TRUE(holds(packet, {2, 2, 1, 1, 9}));
}

TEST(Pkt, AGrownCloneHasMemoryOfItsOwnAlready) {
    const Pkt::Ptr packet = packetOf(53, 1);
    const Pkt::Ptr clone = packet->clone();
    const std::vector<Pkt::Ptr> others = allKeptMemory();
    const FailingAllocation failure(1);
    EXPECT_NO_THROW(grow(clone, 2, 2));
    EXPECT_FALSE(failure.happened());
}

TEST(Pkt, LeavesTheBufferThatItCameWithToAClone) {
    const Pkt::Ptr packet = packetOf(3, 1);
    const Pkt::Ptr clone = packet->clone();
    grow(packet, 1, 2);
    const Pkt::Ptr second = packet->clone();
    grow(packet, 1, 3);
    packet->data()[4] = 9;
    EXPECT_TRUE(holds(clone, {1, 1, 1}));
    EXPECT_TRUE(holds(second, {2, 1, 1, 1}));
    EXPECT_TRUE(holds(packet, {3, 2, 1, 1, 9}));
}

TEST(Pkt, ACloneOutlivesItsOriginal) {
    Pkt::Ptr packet = packetOf(53, 1);
    const Pkt::Ptr clone = packet->clone();
    packet = nullptr;
    const Pkt::Ptr other = packetOf(100, 2); // takes the original's memory if that were free
    EXPECT_TRUE(holds(clone, std::vector<U8>(53, 1)));
    U8 const* const base = clone->data().data();
    grow(clone, 1, 3); // alone in the buffer now
    EXPECT_EQ(clone->data().data(), base - 1);
    EXPECT_TRUE(holds(other, std::vector<U8>(100, 2)));
}

TEST(Pkt, DataTooBigForTheUsualBufferIsSharedTheSameWay) {
    Pkt::Ptr packet = packetOf(5000, 1);
    const Pkt::Ptr clone = packet->clone();
    EXPECT_EQ(clone->data().data(), packet->data().data());
    grow(packet, 1, 2);
    EXPECT_NE(clone->data().data(), packet->data().data() + 1);
    packet = nullptr;
    EXPECT_TRUE(holds(clone, std::vector<U8>(5000, 1)));
}

TEST(Pkt, RandomGrowingCloningAndReleasingKeepsEveryPacketsData) {
    struct Held {
        Pkt::Ptr packet;
        std::vector<U8> expected;
    };
    std::mt19937 random(20040609);
    const auto below = [&random](U32 limit) { return static_cast<U32>(random() % limit); };
    const U32 inUse = globalPktManager().inUse();
    const std::ptrdiff_t memory = FailingAllocation::outstanding();
    std::vector<Held> held;
    for (int step = 0; step < 20000; ++step) {
        const U32 what = below(10);
        if (held.empty() || (what < 2 && held.size() < 20)) {
            held.push_back({newPkt(), {}});
        } else if (what < 5 && held.size() < 20) {
            Held const& original = held[below(static_cast<U32>(held.size()))];
            held.push_back({original.packet->clone(), original.expected});
        } else if (what < 8) {
            Held& grown = held[below(static_cast<U32>(held.size()))];
            const U32 n = below(8) == 0 ? below(3000) : below(60);
            const auto value = static_cast<U8>(step);
            grow(grown.packet, n, value);
            grown.expected.insert(grown.expected.begin(), n, value);
            if (n != 0) { // then the octets are its own
                const std::size_t place = below(static_cast<U32>(grown.expected.size()));
                grown.packet->data()[place] = grown.expected[place] = static_cast<U8>(step >> 8);
            }
        } else {
            held.erase(held.begin() + below(static_cast<U32>(held.size())));
        }
        for (Held const& each : held)
            ASSERT_TRUE(holds(each.packet, each.expected)) << step;
        ASSERT_EQ(globalPktManager().inUse(), inUse + held.size());
    }
    held.clear();
    held.shrink_to_fit();
    EXPECT_EQ(globalPktManager().inUse(), inUse);
    EXPECT_LE(FailingAllocation::outstanding(), memory + std::ptrdiff_t{Pkt::Manager::keptLimit});
}

// The framework's view

TEST(Pkt, IsAFrameworkObjectOfItsOwnType) {
    const Pkt::Ptr packet = newPkt();
    EXPECT_EQ(packet->fwkType(), &Pkt::_zelType);
    EXPECT_EQ(Zel::typeNode("Kolvu::Pkt"), &Pkt::_zelType);
    EXPECT_EQ(Pkt::_zelType.allocations().liveCount(), globalPktManager().inUse());
    EXPECT_EQ(Pkt::_zelType.allocations().objectSize(), sizeof(Pkt));
}

TEST(Pkt, IsReleasedThroughAPointerToItsBase) {
    const U32 before = globalPktManager().inUse();
    Zel::Ptr<Zel::PtrInterface> object = packetOf(53, 1);
    EXPECT_EQ(globalPktManager().inUse(), before + 1);
    object = nullptr;
    EXPECT_EQ(globalPktManager().inUse(), before);
}

// Wrong use

TEST(PktDeathTest, HasNoSecondIoVec) {
    const Pkt::Ptr packet = packetOf(53, 1);
    EXPECT_DEATH(packet->ioVec(1), "Varnol: fatal: a packet has no I/O vector of that index");
}

TEST(PktDeathTest, GivingBackAReferenceThatIsNotHeldIsFatal) {
    EXPECT_DEATH(
        {
            const Pkt::Ptr packet = newPkt();
            packet->referenceInc();
            packet->referenceDec();
            packet->referenceDec();
            // The packet is gone, and the pointer gives one more back.
        },
        "Varnol: fatal|use-after-poison|invalid vptr");
}

TEST(PktDeathTest, DestroyingAPacketThatIsStillHeldIsFatal) {
    const Pkt::Ptr packet = newPkt();
    EXPECT_DEATH(delete packet.ptr(), "Varnol: fatal: .*references to it are held");
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ADDRESS_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define UNDER_ADDRESS_SANITIZER
#endif
#ifdef UNDER_ADDRESS_SANITIZER
TEST(PktDeathTest, TheSanitizerSeesOctetsUsedAfterTheirPacketIsGone) {
    Pkt::Ptr packet = packetOf(53, 1);
    U8* const data = packet->data().data();
    packet = nullptr;
    EXPECT_DEATH(data[20] = 1, "use-after-poison");
}
#endif

TEST(PktDeathTest, APacketMayOutliveEverything) {
    EXPECT_EXIT(
        {
            static const Pkt::Ptr outliving = packetOf(53, 1);
            static const Pkt::Ptr clone = outliving->clone();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

// Threads

/// Whether another thread gets a packet, or gives one back, while this one is about to get memory
/// for a packet.
template <class F> bool overtakesTheOneThatGetsMemory(F const& work) {
    const auto kept = allKeptMemory();
    std::atomic<bool> gettingMemory = false;
    std::atomic<bool> done = false;
    bool overtaken = false;
    std::thread other([&] {
        gettingMemory.wait(false);
        work();
        done = true;
    });
    {
        const AtAllocation waiting([&] {
            gettingMemory = true;
            gettingMemory.notify_one();
            for (int i = 0; i < 10000 && !done; ++i)
                std::this_thread::yield();
            overtaken = done;
        });
        newPkt();
    }
    other.join();
    return overtaken;
}

TEST(PktThreads, GetPacketsOneAfterTheOtherWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    EXPECT_FALSE(overtakesTheOneThatGetsMemory(newPkt));
}

TEST(PktThreads, GivePacketsBackOneAfterTheOtherWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    Pkt::Ptr packet = newPkt();
    EXPECT_FALSE(overtakesTheOneThatGetsMemory([&] { packet = nullptr; }));
}

TEST(PktThreads, CountWhoSharesDataWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    const Pkt::Ptr shared = packetOf(53, 1);
    U8 const* const data = shared->data().data();
    std::barrier together(2);
    // One thread makes clones while the other gives those of the last round data of their own.
    constexpr int rounds = 100;
    std::vector<Pkt::Ptr> clones(1000);
    std::vector<Pkt::Ptr> made(clones.size());
    std::thread other([&] {
        for (int round = 0; round < rounds; ++round) {
            together.arrive_and_wait();
            for (Pkt::Ptr const& clone : clones) {
                if (clone)
                    clone->newSharedHeadData(1);
            }
            together.arrive_and_wait();
        }
    });
    for (int round = 0; round < rounds; ++round) {
        together.arrive_and_wait();
        for (Pkt::Ptr& clone : made)
            clone = shared->clone();
        together.arrive_and_wait();
        clones.swap(made);
    }
    other.join();
    clones.clear();
    made.clear();
    grow(shared, 1, 2);
    EXPECT_EQ(shared->data().data(), data - 1) << "nobody shares the data any more";
    EXPECT_EQ(shared->data()[1], 1);
}

TEST(PktThreads, MakeShareAndReleasePacketsWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    const U32 before = globalPktManager().inUse();
    const Pkt::Ptr shared = packetOf(53, 0x11);
    std::atomic<bool> intact = true;
    const auto work = [&](U8 value) {
        for (U32 i = 0; i < 3000; ++i) {
            const Pkt::Ptr same = shared;
            const Pkt::Ptr clone = same->clone();
            const Pkt::Ptr own = packetOf(i % 3000, value);
            const Pkt::Ptr ownClone = own->clone();
            grow(clone, 17, value);
            const auto data = clone->data();
            if (data.size() != 70 || data.front() != value || data[16] != value ||
                data[17] != 0x11 || data.back() != 0x11 || own->data().size() != i % 3000 ||
                !std::ranges::all_of(ownClone->data(), [=](U8 octet) { return octet == value; }))
                intact = false;
        }
    };
    std::thread one(work, 1);
    std::thread other(work, 2);
    one.join();
    other.join();
    EXPECT_TRUE(intact);
    EXPECT_TRUE(holds(shared, std::vector<U8>(53, 0x11)));
    EXPECT_EQ(shared->references(), 1U);
    EXPECT_EQ(globalPktManager().inUse(), before + 1);
}

TEST(PktThreads, HaveDataFromTheBeginningWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    for (U32 n : {53U, 2 * Pkt::Manager::usualSize})
        EXPECT_EQ(globalPktManager().newPkt(n)->data().size(), n);
}

TEST(PktThreads, ACloneOutlivesItsOriginalWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    Pkt::Ptr packet = packetOf(53, 1);
    const Pkt::Ptr clone = packet->clone();
    packet = nullptr;
    const Pkt::Ptr other = packetOf(100, 2); // takes the original's memory if that were free
    EXPECT_TRUE(holds(clone, std::vector<U8>(53, 1)));
}

TEST(PktThreads, ReleaseWhatAnotherThreadMadeWhilePointersAreThreadSafe) {
    const ThreadSafePointers switchedOn;
    const U32 before = globalPktManager().inUse();
    std::vector<Pkt::Ptr> packets;
    for (U8 i = 0; i < 200; ++i)
        packets.push_back(packetOf(53, i));
    std::thread releaser([packets = std::move(packets)]() mutable { packets.clear(); });
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(packetOf(53, 1));
    releaser.join();
    EXPECT_EQ(globalPktManager().inUse(), before);
}

TEST(PktThreads, TogetherTakeNoMorePacketsThanTheCapacity) {
    const ThreadSafePointers switchedOn;
    const Capacity capacity(100);
    std::vector<Pkt::Ptr> taken[2];
    const auto takeAll = [](std::vector<Pkt::Ptr>& packets) {
        while (Pkt::Ptr packet = newPkt())
            packets.push_back(std::move(packet));
    };
    std::thread one([&] { takeAll(taken[0]); });
    std::thread other([&] { takeAll(taken[1]); });
    one.join();
    other.join();
    EXPECT_EQ(taken[0].size() + taken[1].size(), 100U);
    EXPECT_EQ(globalPktManager().inUse(), 100U);
}

} // namespace
