#pragma once

#include "tests/framework/NotifierWorld.h"

#include <utility>

namespace Notifying {

/// The model, which has nothing of the framework in it.
class Oracle final : public World {
  public:
    /// How many commands have done something; those that found it done already are none.
    unsigned commands() const { return commands_; }

    void create(unsigned reactor) override {
        ++commands_;
        reactors_[reactor].exists = true;
        reactors_[reactor].active = true;
    }
    void destroy(unsigned reactor) override {
        ++commands_;
        leave(reactor);
        reactors_[reactor] = {};
    }
    bool exists(unsigned reactor) const override { return reactors_[reactor].exists; }
    State state(unsigned reactor) const override { return reactors_[reactor]; }
    void bind(unsigned reactor, unsigned entity) override {
        ++commands_;
        const unsigned former = std::exchange(reactors_[reactor].entity, nowhere);
        removeFromOrder(former, reactor);
        reactors_[reactor].entity = entity;
        reactors_[reactor].binding = ++bindings_;
        Order& order = order_[entity];
        order.bound[order.count++] = {reactor, bindings_};
        afterLeaving(former);
    }
    void unbind(unsigned reactor) override {
        commands_ += reactors_[reactor].entity != nowhere;
        leave(reactor);
    }
    void activeIs(unsigned reactor, bool active) override {
        commands_ += reactors_[reactor].active != active;
        reactors_[reactor].active = active;
    }
    void zombieIs(unsigned reactor, bool zombie) override {
        Reactor& it = reactors_[reactor];
        if (it.zombie == zombie)
            return;
        ++commands_;
        it.zombie = zombie;
        if (it.entity != nowhere)
            it.active = !zombie;
    }
    bool alive(unsigned entity) const override { return alive_[entity]; }
    void release(unsigned entity) override {
        commands_ += held_[entity];
        held_[entity] = false;
        afterLeaving(entity);
    }
    unsigned boundTo(unsigned entity) const override { return order_[entity].count; }

    /// The rules: those that are bound when the delivery begins are called in the order of their
    /// binding, each if it is then still bound as it was, and active.
    void notify(unsigned entity) override {
        const Order atTheBeginning = order_[entity];
        commands_ += atTheBeginning.count != 0;
        for (unsigned i = 0; i < atTheBeginning.count; ++i) {
            const Binding then = atTheBeginning.bound[i];
            Reactor const& now = reactors_[then.reactor];
            if (now.binding == then.number && now.entity == entity && now.active)
                called(then.reactor);
        }
    }

  private:
    static constexpr unsigned nowhere = entityCount;

    struct Reactor : State {
        unsigned binding = 0; // no two bindings have the same number
    };
    struct Binding {
        unsigned reactor;
        unsigned number;
    };
    struct Order {
        Binding bound[reactorCount];
        unsigned count = 0;
    };

    void removeFromOrder(unsigned entity, unsigned reactor) {
        if (entity == nowhere)
            return;
        Order& order = order_[entity];
        unsigned kept = 0;
        for (unsigned i = 0; i < order.count; ++i) {
            if (order.bound[i].reactor != reactor)
                order.bound[kept++] = order.bound[i];
        }
        order.count = kept;
    }
    void leave(unsigned reactor) {
        const unsigned former = std::exchange(reactors_[reactor].entity, nowhere);
        removeFromOrder(former, reactor);
        afterLeaving(former);
    }
    void afterLeaving(unsigned entity) {
        if (entity != nowhere && alive_[entity] && !held_[entity] && order_[entity].count == 0) {
            alive_[entity] = false;
            log.push_back({Event::died, entity});
        }
    }

    Reactor reactors_[reactorCount];
    Order order_[entityCount];
    bool alive_[entityCount] = {true, true};
    bool held_[entityCount] = {true, true};
    unsigned bindings_ = 0;
    unsigned commands_ = 0;
};

} // namespace Notifying
