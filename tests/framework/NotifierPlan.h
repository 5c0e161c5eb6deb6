#pragma once

#include "framework/zel/Int.h"
#include "tests/framework/NotifierWorld.h"

#include <algorithm>
#include <stdexcept>

namespace Notifying {

/// What a reactor throws that is to do so.
struct Refused {};

/// What reactors do, call by call, whoever is called.
struct Plan {
    enum Kind {
        notify,
        notifyAndCatch,
        bind,
        unbind,
        activate,
        switchOff,
        makeZombie,
        endZombie,
        destroy,
        create,
        createAndBind,
        release,
        refuse,
        kinds
    };
    struct Action {
        Kind kind;
        unsigned reactor;
        unsigned entity;
    };
    struct Start {
        bool exists;
        bool active;
        unsigned entity; ///< or none, where there is no such entity
    };
    struct Call {
        Action actions[3];
        unsigned count;
    };

    /// How much there may be of it.
    struct Limits {
        unsigned reactors = 8;
        unsigned calls = 12;
    };
    static constexpr unsigned mostCalls = 64;

    Start start[reactorCount];
    unsigned notifications[3]; ///< entities, from outside
    unsigned notificationCount;
    Call calls[mostCalls];
    unsigned callCount;
};

/// A small generator, so that most of the time is spent on what is tested.
class Random {
  public:
    explicit Random(Zel::U64 seed)
        : state_(seed) {}
    unsigned below(unsigned limit) {
        state_ = state_ * 6364136223846793005 + 1442695040888963407;
        return static_cast<unsigned>((state_ >> 32) * limit >> 32);
    }

  private:
    Zel::U64 state_;
};

inline void makeRandom(Plan& plan, Random& random, Plan::Limits limits = {}) {
    const unsigned reactors = 1 + random.below(limits.reactors);
    for (Plan::Start& start : plan.start)
        start.exists = false;
    for (unsigned reactor = 0; reactor < limits.reactors; ++reactor) {
        const unsigned place = random.below(8);
        plan.start[reactor] = {reactor < reactors, random.below(8) != 0, place < 2 ? 2 - place : 0};
    }
    plan.notificationCount = 1 + random.below(3);
    for (unsigned& entity : plan.notifications)
        entity = random.below(4) == 0;
    plan.callCount = 2 + random.below(limits.calls - 1);
    for (unsigned call = 0; call < plan.callCount; ++call) {
        plan.calls[call].count = random.below(4);
        for (unsigned i = 0; i < plan.calls[call].count; ++i) {
            auto kind = static_cast<Plan::Kind>(random.below(Plan::kinds));
            // These end much of what could still happen.
            if ((kind == Plan::release || kind == Plan::refuse) && random.below(4) != 0)
                kind = Plan::notify;
            plan.calls[call].actions[i] = {kind, random.below(reactors),
                                           random.below(4) == 0 ? 1u : 0u};
        }
    }
}

/// Has the reactors of a world act as planned.
class Player {
  public:
    Player(World& world, Plan const& plan)
        : world_(world)
        , plan_(plan) {}

    /// Makes the reactors with which the plan begins.
    void start() {
        for (unsigned reactor = 0; reactor < reactorCount; ++reactor) {
            Plan::Start const& start = plan_.start[reactor];
            if (!start.exists)
                continue;
            world_.create(reactor);
            world_.activeIs(reactor, start.active);
            if (start.entity < entityCount)
                world_.bind(reactor, start.entity);
        }
    }

    void play() {
        world_.onCall = [this](unsigned) {
            if (calls_ == plan_.callCount)
                return;
            Plan::Call const& call = plan_.calls[calls_++];
            for (unsigned i = 0; i < call.count; ++i)
                perform(call.actions[i]);
        };
        for (unsigned i = 0; i < plan_.notificationCount; ++i)
            notifyAndCatch(plan_.notifications[i]);
        world_.onCall = nullptr;
        for (unsigned entity = 0; entity < entityCount; ++entity)
            notify(entity); // shows who is bound, in which order
    }

    unsigned deepest() const { return deepest_; }
    unsigned refusals() const { return refusals_; }

  private:
    void notify(unsigned entity) {
        if (!world_.alive(entity) || depth_ == 12)
            return;
        const Deeper deeper(depth_);
        deepest_ = std::max(deepest_, depth_);
        world_.notify(entity);
    }
    void notifyAndCatch(unsigned entity) {
        try {
            notify(entity);
        } catch (Refused const&) {
            ++refusals_;
        }
    }

    void perform(Plan::Action const& action) {
        if (action.kind == Plan::notify)
            return notify(action.entity);
        if (action.kind == Plan::notifyAndCatch)
            return notifyAndCatch(action.entity);
        if (action.kind == Plan::release)
            return world_.alive(action.entity) ? world_.release(action.entity) : void();
        if (action.kind == Plan::refuse)
            throw Refused();
        const bool exists = world_.exists(action.reactor);
        if (action.kind == Plan::create || action.kind == Plan::createAndBind) {
            if (exists)
                return;
            world_.create(action.reactor);
            if (action.kind == Plan::createAndBind && world_.alive(action.entity))
                world_.bind(action.reactor, action.entity);
            return;
        }
        if (!exists)
            return;
        switch (action.kind) {
        case Plan::bind:
            if (world_.alive(action.entity))
                world_.bind(action.reactor, action.entity);
            break;
        case Plan::unbind:
            world_.unbind(action.reactor);
            break;
        case Plan::activate:
            world_.activeIs(action.reactor, true);
            break;
        case Plan::switchOff:
            world_.activeIs(action.reactor, false);
            break;
        case Plan::makeZombie:
            world_.zombieIs(action.reactor, true);
            break;
        case Plan::endZombie:
            world_.zombieIs(action.reactor, false);
            break;
        case Plan::destroy:
            world_.destroy(action.reactor);
            break;
        default:
            throw std::logic_error("a plan has an unknown kind of action");
        }
    }

    World& world_;
    Plan const& plan_;
    unsigned calls_ = 0;
    unsigned depth_ = 0;
    unsigned deepest_ = 0;
    unsigned refusals_ = 0;
};

} // namespace Notifying
