#pragma once

#include "framework/zel/Activity.h"

#include <functional>
#include <utility>

#include <gtest/gtest.h>

/// Looks on, while it lives, at what reactors and syncers do; what begins has to end in the reverse
/// order. There is one at a time.
class Onlooker {
  public:
    /// @param atWrite  is called when a write begins; may be null
    explicit Onlooker(std::function<void(Zel::Activity const& write)> atWrite = {}) {
        observer().open = 0;
        observer().atWrite = std::move(atWrite);
        Zel::activityObserverIs(&observer());
    }
    Onlooker(Onlooker const&) = delete;
    Onlooker& operator=(Onlooker const&) = delete;
    ~Onlooker() {
        Zel::activityObserverIs(nullptr);
        EXPECT_EQ(observer().open, 0U) << "what began has not ended";
    }

  private:
    class Observer final : public Zel::ActivityObserver {
      public:
        Zel::U64 reactionBegins(Zel::Activity const&) noexcept override { return ++open; }
        Zel::U64 writeBegins(Zel::Activity const& write) noexcept override {
            if (atWrite)
                atWrite(write);
            return ++open;
        }
        void ends(Zel::TypeNode const&, Zel::U64 begun) noexcept override {
            EXPECT_EQ(begun, open);
            --open;
        }

        Zel::U64 open = 0;
        std::function<void(Zel::Activity const& write)> atWrite;
    };

    /// Lives for ever, as another thread may still be within it.
    static Observer& observer() {
        static Observer observer;
        return observer;
    }
};
