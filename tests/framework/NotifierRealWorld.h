#pragma once

#include "framework/zel/Declare.h"
#include "framework/zel/Notifiee.h"
#include "tests/framework/NotifierWorld.h"

#include <array>

namespace Notifying {

/// The framework's own reactors and entities.
class RealWorld final : public World {
  public:
    RealWorld() {
        for (unsigned entity = 0; entity < entityCount; ++entity)
            held_[entity] = Zel::Ptr(raw_[entity] = new Subject(*this, entity));
    }
    ~RealWorld() override {
        reactors_ = {};
        held_ = {};
    }

    void create(unsigned reactor) override {
        reactors_[reactor] = Zel::newActive<Reactor>(*this, reactor);
    }
    void destroy(unsigned reactor) override { reactors_[reactor] = nullptr; }
    bool exists(unsigned reactor) const override { return reactors_[reactor] != nullptr; }
    State state(unsigned reactor) const override {
        Reactor const* const it = reactors_[reactor].ptr();
        if (!it)
            return {};
        State state{true, it->hasNotificationActive(), it->zelMarkedForDeletion()};
        Subject const* const entity = it->notifier().ptr();
        if (entity)
            state.entity = entity->number();
        return state;
    }
    void bind(unsigned reactor, unsigned entity) override {
        reactors_[reactor]->notifierIs(Zel::Ptr<Subject>(raw_[entity]));
    }
    void unbind(unsigned reactor) override { reactors_[reactor]->notifierIs(nullptr); }
    void activeIs(unsigned reactor, bool active) override {
        reactors_[reactor]->hasNotificationActiveIs(active);
    }
    void zombieIs(unsigned reactor, bool zombie) override {
        reactors_[reactor]->zelDoZombieReactors(zombie);
    }
    bool alive(unsigned entity) const override { return raw_[entity] != nullptr; }
    void release(unsigned entity) override { held_[entity] = nullptr; }
    void notify(unsigned entity) override { raw_[entity]->valueIs(0); }
    unsigned boundTo(unsigned entity) const override {
        return raw_[entity]->notifieeList()->members();
    }

  private:
    class Subject final : public Zel::Object<Subject, Zel::Entity> {
      public:
        static Zel::TypeNode const _zelType;
        Subject(RealWorld& world, unsigned number)
            : world_(world)
            , number_(number) {}
        ~Subject() override {
            world_.raw_[number_] = nullptr;
            world_.log.push_back({Event::died, number_});
        }
        ZEL_SCALAR(258, unsigned, value)
        unsigned number() const { return number_; }

      private:
        RealWorld& world_;
        unsigned number_;
    };

    class Reactor final : public Zel::Object<Reactor, Zel::NotifieeConstOf<Subject>> {
      public:
        static Zel::TypeNode const _zelType;
        Reactor(RealWorld& world, unsigned number)
            : world_(world)
            , number_(number) {}
        void onAttribute(Zel::AttributeId, void const*) override { world_.called(number_); }

      private:
        RealWorld& world_;
        unsigned number_;
    };

    std::array<Subject*, entityCount> raw_{}; // null from their end on
    std::array<Zel::Ptr<Subject>, entityCount> held_;
    std::array<Zel::Ptr<Reactor>, reactorCount> reactors_;
};

} // namespace Notifying
