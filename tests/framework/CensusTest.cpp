#include "framework/zel/Census.h"

#include "framework/zel/NotifieeList.h"
#include "framework/zel/Object.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/ToyModel.h"
#include "tests/framework/ToySyncer.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

TEST(Census, CountsTheLiveObjectsOfEachClass) {
    const Zel::Census before = Zel::census();
    const Toy::Record::Ptr first(new Toy::Record);
    Toy::Record::Ptr second(new Toy::Record);
    const Zel::Census made = Zel::census();
    EXPECT_EQ(made.of("Toy::Record").live, before.of("Toy::Record").live + 2);
    EXPECT_EQ(made.of("Toy::Record").objectSize, sizeof(Toy::Record));
    EXPECT_EQ(made.live(), before.live() + 2);
    second = nullptr;
    EXPECT_EQ(Zel::census().of("Toy::Record").live, before.of("Toy::Record").live + 1);
}

class Link final : public Zel::Object<Link, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
    Zel::Ptr<Link> next;
};
constinit Zel::TypeNode const Link::_zelType{"CensusTest::Link", {}};
[[maybe_unused]] const bool registered = Zel::typeNodeIs(Link::_zelType);

TEST(Census, CountsObjectsThatOnlyACycleHoldsUntilItIsBroken) {
    const auto live = [] { return Zel::census().of("CensusTest::Link").live; };
    Link* const raw = new Link;
    {
        const Link::Ptr first(raw);
        first->next = Link::Ptr(new Link);
        first->next->next = first;
        EXPECT_EQ(live(), 2U);
    }
    EXPECT_EQ(live(), 2U) << "nobody else holds them, but they hold each other";
    raw->next->next = nullptr;
    EXPECT_EQ(live(), 0U);
}

TEST(Census, HasEveryRegisteredClassOnceInTheOrderOfTheNames) {
    const Zel::Census census = Zel::census();
    std::size_t types = 0;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous()) {
        EXPECT_EQ(census.of(type->name()).name, type->name());
        ++types;
    }
    EXPECT_EQ(census.classes.size(), types);
    EXPECT_TRUE(std::ranges::is_sorted(census.classes, {}, &Zel::ClassCensus::name));
}

TEST(Census, OfAClassThatThereIsNotAllIsZero) {
    const Zel::ClassCensus none = Zel::census().of("Toy::Nothing");
    EXPECT_TRUE(none.name.empty());
    EXPECT_EQ(none.live, 0U);
    EXPECT_EQ(none.objectSize, 0U);
    EXPECT_EQ(none.writes, 0U);
}

TEST(Census, OfAClassWhoseObjectsAreNotWrittenCountsNoWrites) {
    const Link::Ptr object(new Link);
    EXPECT_EQ(Zel::census().of("CensusTest::Link").writes, 0U);
}

TEST(Census, SumsUpTheWritesAndTheObjectsOfAllClasses) {
    const Zel::Census census{{{"Toy::A", 2, 8, 3}, {"Toy::B", 1, 8, 4}}};
    EXPECT_EQ(census.writes(), 7U);
    EXPECT_EQ(census.live(), 3U);
}

} // namespace
