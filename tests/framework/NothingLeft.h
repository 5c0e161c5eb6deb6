#pragma once

#include "framework/zel/PtrInterface.h"
#include "framework/zel/TypeNode.h"

#include <map>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

/// Objects alive now, by the names of all classes that are registered.
inline std::map<std::string_view, Zel::U64> liveObjects() {
    std::map<std::string_view, Zel::U64> live;
    for (Zel::TypeNode const* type = Zel::lastTypeNode(); type; type = type->previous())
        live[type->name()] = type->allocations().liveCount();
    return live;
}

/// A test that leaves no framework object behind. Runs twice: with references counted by plain
/// operations, and by atomic ones.
class NothingLeft : public testing::TestWithParam<bool> {
  protected:
    NothingLeft() { Zel::VFPtrInterface::threadSafePointers_ = GetParam(); }
    ~NothingLeft() override {
        EXPECT_EQ(liveObjects(), before_) << "objects were left behind";
        Zel::VFPtrInterface::threadSafePointers_ = false;
    }

  private:
    const std::map<std::string_view, Zel::U64> before_ = liveObjects();
};

inline std::string nameOfCounting(testing::TestParamInfo<bool> const& info) {
    return info.param ? "atomic" : "plain";
}

/// Runs the tests of a fixture derived from NothingLeft both ways.
#define WITH_BOTH_WAYS_OF_COUNTING(FIXTURE)                                                        \
    INSTANTIATE_TEST_SUITE_P(Counting, FIXTURE, testing::Bool(), nameOfCounting)
