#pragma once

#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

/// What the tests of disturbed deliveries play in: a world of reactors and entities, of which there
/// is a real one and a model.
namespace Notifying {

constexpr unsigned reactorCount = 32;
constexpr unsigned entityCount = 2;

struct Event {
    enum What { called, died } what;
    unsigned who; ///< the reactor called, or the entity that died

    friend bool operator==(Event, Event) = default;
};

inline std::ostream& operator<<(std::ostream& stream, Event event) {
    return stream << (event.what == Event::called ? "call " : "death of entity ") << event.who;
}

/// A depth is greater by one while this lives.
class Deeper {
  public:
    explicit Deeper(unsigned& depth)
        : depth_(++depth) {}
    Deeper(Deeper const&) = delete;
    Deeper& operator=(Deeper const&) = delete;
    ~Deeper() { --depth_; }

  private:
    unsigned& depth_;
};

/// What can be asked of a reactor.
struct State {
    bool exists = false;
    bool active = false;
    bool zombie = false;
    unsigned entity = entityCount; ///< to which it is bound, or none, where there is no such entity

    friend bool operator==(State, State) = default;
};

inline std::ostream& operator<<(std::ostream& stream, State state) {
    if (!state.exists)
        return stream << "none";
    stream << (state.active ? "active" : "switched off") << (state.zombie ? ", a zombie" : "");
    return state.entity < entityCount ? stream << ", bound to entity " << state.entity
                                      : stream << ", unbound";
}

/// Up to 32 reactors, numbered, and two entities whose one attribute can be set.
///
/// There are two: the real one, and the oracle, which knows of the rules of delivery only what
/// stands in its notify().
class World {
  public:
    World() { log.reserve(64); }
    World(World const&) = delete;
    World& operator=(World const&) = delete;
    virtual ~World() = default;

    /// Makes the reactor: unbound, and active.
    virtual void create(unsigned reactor) = 0;
    virtual void destroy(unsigned reactor) = 0;
    virtual bool exists(unsigned reactor) const = 0;
    virtual State state(unsigned reactor) const = 0;
    virtual void bind(unsigned reactor, unsigned entity) = 0;
    virtual void unbind(unsigned reactor) = 0;
    virtual void activeIs(unsigned reactor, bool active) = 0;
    virtual void zombieIs(unsigned reactor, bool zombie) = 0;

    /// An entity lives as long as the world holds it, or a reactor is bound to it.
    virtual bool alive(unsigned entity) const = 0;
    virtual void release(unsigned entity) = 0;
    /// Sets the entity's attribute.
    virtual void notify(unsigned entity) = 0;
    virtual unsigned boundTo(unsigned entity) const = 0;

    /// Switches all reactors on and notifies the entities, so that the log shows the order of all
    /// that are bound. Nobody acts.
    void showOrder() {
        onCall = nullptr;
        for (unsigned reactor = 0; reactor < reactorCount; ++reactor) {
            if (exists(reactor))
                activeIs(reactor, true);
        }
        for (unsigned entity = 0; entity < entityCount; ++entity) {
            if (alive(entity))
                notify(entity);
        }
    }
    /// Destroys the reactors one after the other, and lets the entities go.
    void end() {
        for (unsigned reactor = 0; reactor < reactorCount; ++reactor) {
            if (exists(reactor))
                destroy(reactor);
        }
        for (unsigned entity = 0; entity < entityCount; ++entity) {
            if (alive(entity))
                release(entity);
        }
    }

    std::vector<Event> log;
    /// What a reactor does when it is called.
    std::function<void(unsigned reactor)> onCall;

  protected:
    void called(unsigned reactor) {
        log.push_back({Event::called, reactor});
        if (onCall)
            onCall(reactor);
    }
};

/// Where two worlds that were told the same differ: in what happened, in which entities live, in
/// how many reactors are bound to them, or in the state of a reactor. Empty when they do not.
inline std::string difference(World const& real, World const& expected) {
    std::ostringstream text;
    for (std::size_t i = 0; i < real.log.size() || i < expected.log.size(); ++i) {
        if (i < real.log.size() && i < expected.log.size() && real.log[i] == expected.log[i])
            continue;
        text << "event " << i << ": ";
        i < real.log.size() ? text << real.log[i] : text << "none";
        text << ", expected ";
        i < expected.log.size() ? text << expected.log[i] : text << "none";
        return text.str();
    }
    for (unsigned entity = 0; entity < entityCount; ++entity) {
        if (real.alive(entity) != expected.alive(entity))
            text << "entity " << entity << (real.alive(entity) ? " lives" : " is dead");
        else if (real.alive(entity) && real.boundTo(entity) != expected.boundTo(entity))
            text << "entity " << entity << " has " << real.boundTo(entity) << " reactors, expected "
                 << expected.boundTo(entity);
    }
    for (unsigned reactor = 0; reactor < reactorCount && text.view().empty(); ++reactor) {
        if (real.state(reactor) != expected.state(reactor))
            text << "reactor " << reactor << " is " << real.state(reactor) << "; expected "
                 << expected.state(reactor);
    }
    return text.str();
}

} // namespace Notifying
