#include "platform/kolvu/WireLayout.h"

#include "platform/kolvu/NetInt.h"

#include <gtest/gtest.h>

namespace {

using Kolvu::NetU16;
using Kolvu::NetU8;
using Kolvu::WireLayout::Field;
using Kolvu::WireLayout::isContiguous;
using Kolvu::WireLayout::Place;

struct Whole {
    static constexpr std::tuple fields{Field<NetU8>{"first", 0, 1}, Field<NetU16>{"second", 1, 2},
                                       Field<NetU8>{"third", 3, 1}};
    static constexpr std::size_t octets = 4;
};
struct WithAGap {
    static constexpr std::tuple fields{Field<NetU8>{"first", 0, 1}, Field<NetU16>{"second", 2, 2}};
    static constexpr std::size_t octets = 4;
};
struct WithAFieldOfOtherSize {
    static constexpr std::tuple fields{Field<NetU8>{"first", 0, 2}, Field<NetU16>{"second", 2, 2}};
    static constexpr std::size_t octets = 4;
};
struct LongerThanItsFields {
    static constexpr std::tuple fields{Field<NetU8>{"first", 0, 1}, Field<NetU16>{"second", 1, 2}};
    static constexpr std::size_t octets = 4;
};

TEST(WireLayout, IsContiguousWhereEachFieldBeginsAtTheEndOfTheOneBefore) {
    EXPECT_TRUE(isContiguous<Whole>());
    EXPECT_FALSE(isContiguous<WithAGap>());
    EXPECT_FALSE(isContiguous<WithAFieldOfOtherSize>());
    EXPECT_FALSE(isContiguous<LongerThanItsFields>());
}

TEST(WireLayout, FindsTheFirstFieldOfAName) {
    EXPECT_EQ(Place<Whole>("first").index, 0u);
    EXPECT_EQ(Place<Whole>("second").index, 1u);
    EXPECT_EQ(Place<Whole>("third").index, 2u);
    EXPECT_EQ(Place<Whole>("none").index, 3u) << "behind the last, where no field is";
}

} // namespace
