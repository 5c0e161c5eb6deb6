#pragma once

#include "framework/zel/Int.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

/// How many objects of each registered class are alive, by the class's name; 0 is left out.
std::map<std::string, Zel::U64> liveObjects();

/// Expects of its end that the framework objects are as many as at its beginning.
class NoObjectLeft {
  public:
    NoObjectLeft() = default;
    NoObjectLeft(NoObjectLeft const&) = delete;
    NoObjectLeft& operator=(NoObjectLeft const&) = delete;
    ~NoObjectLeft();

  private:
    const std::map<std::string, Zel::U64> before_ = liveObjects();
};

/// A test that leaves no framework object behind; what it holds is held by members of fixtures
/// derived from this one, or locally. Runs twice: with references counted by plain operations, and
/// by atomic ones.
class NothingLeft : public testing::TestWithParam<bool> {
  protected:
    NothingLeft();
    ~NothingLeft() override;

  private:
    const NoObjectLeft atEnd_{};
};

std::string nameOfCounting(testing::TestParamInfo<bool> const& info);

/// Runs the tests of a fixture derived from NothingLeft both ways.
#define WITH_BOTH_WAYS_OF_COUNTING(FIXTURE)                                                        \
    INSTANTIATE_TEST_SUITE_P(Counting, FIXTURE, testing::Bool(), nameOfCounting)
