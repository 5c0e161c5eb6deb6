#include "platform/kolvu/FreeList.h"

#include <gtest/gtest.h>

#include <array>

#include <sanitizer/asan_interface.h>

namespace {

using Kolvu::FreeList;

struct Blocks {
    static constexpr std::size_t size = 64;
    alignas(16) std::array<std::array<unsigned char, size>, 3> memory{};
    void* operator[](std::size_t index) { return memory[index].data(); }
    ~Blocks() { ASAN_UNPOISON_MEMORY_REGION(&memory, sizeof(memory)); }
};

TEST(FreeList, HasNothingToTakeUntilSomethingIsGiven) {
    FreeList list(Blocks::size, 2);
    EXPECT_EQ(list.take(), nullptr);
}

TEST(FreeList, GivesTheBlockBackThatItGotLast) {
    Blocks blocks;
    FreeList list(Blocks::size, 3);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(list.give(blocks[i]));
    for (std::size_t i = 3; i-- > 0;)
        EXPECT_EQ(list.take(), blocks[i]);
    EXPECT_EQ(list.take(), nullptr);
}

TEST(FreeList, KeepsNoMoreThanItsLimit) {
    Blocks blocks;
    FreeList list(Blocks::size, 2);
    EXPECT_TRUE(list.give(blocks[0]));
    EXPECT_TRUE(list.give(blocks[1]));
    EXPECT_FALSE(list.give(blocks[2]));
    EXPECT_EQ(list.take(), blocks[1]);
    EXPECT_TRUE(list.give(blocks[2]));
    EXPECT_EQ(list.take(), blocks[2]);
    EXPECT_EQ(list.take(), blocks[0]);
    EXPECT_EQ(list.take(), nullptr);
}

TEST(FreeList, KeepsNothingWithALimitOfZero) {
    Blocks blocks;
    FreeList list(Blocks::size, 0);
    EXPECT_FALSE(list.give(blocks[0]));
    EXPECT_EQ(list.take(), nullptr);
}

TEST(FreeList, ATakenBlockIsUsableToItsLastOctet) {
    Blocks blocks;
    FreeList list(Blocks::size, 1);
    ASSERT_TRUE(list.give(blocks[1]));
    auto* block = static_cast<unsigned char*>(list.take());
    for (std::size_t i = 0; i < Blocks::size; ++i)
        block[i] = 0x5a;
    EXPECT_EQ(blocks.memory[1].back(), 0x5a);
}

#if defined(__SANITIZE_ADDRESS__)
#define WITH_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define WITH_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#endif

TEST(FreeList, HidesOctetsFromTheSanitizerAloneAndLeavesThemAsTheyAre) {
    Blocks blocks;
    blocks.memory[1].fill(0x5a);
    FreeList::hide(blocks[1], Blocks::size);
#if WITH_ADDRESS_SANITIZER
    EXPECT_EQ(__asan_region_is_poisoned(blocks[0], 3 * Blocks::size), blocks[1]);
#endif
    FreeList::show(blocks[1], Blocks::size);
#if WITH_ADDRESS_SANITIZER
    EXPECT_EQ(__asan_region_is_poisoned(blocks[0], 3 * Blocks::size), nullptr);
#endif
    for (unsigned char octet : blocks.memory[1])
        EXPECT_EQ(octet, 0x5a);
}

} // namespace
