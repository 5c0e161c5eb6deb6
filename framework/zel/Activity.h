#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Attribute.h"

#include <atomic>

namespace Zel {

class Entity;
class TypeNode;

/// What happens to an entity, for those who look on.
struct Activity {
    /// The entity that has changed, or that is written.
    Entity const& entity;
    /// Which attribute; 0 for all.
    AttributeId attribute;
    /// As in PtrInterface::NotifieeConst::onAttribute().
    void const* key;
    /// The class of the reactor or syncer that acts.
    TypeNode const& actor;
};

/// Looks on while reactors react and syncers write: each of the first two functions is followed, on
/// the same thread, by ends(), nested as the calls are.
///
/// For tracing. A looker-on changes nothing: neither entities, nor reactors, nor references.
class ActivityObserver {
  public:
    /// A reactor is about to take a notification of the change of the entity.
    /// @return what ends() is given
    virtual U64 reactionBegins(Activity const& activity) noexcept = 0;
    /// A syncer is about to write into the entity. @return what ends() is given
    virtual U64 writeBegins(Activity const& activity) noexcept = 0;
    /// The reaction or the write is over, also by an exception.
    /// @param begun  what the function that began it has returned
    virtual void ends(TypeNode const& actor, U64 begun) noexcept = 0;

  protected:
    ~ActivityObserver() = default;
};

namespace detail {

// Hidden, so that it is found without the detour by which a shared library reaches what it exports.
extern constinit std::atomic<ActivityObserver*> activityObserver
    __attribute__((visibility("hidden")));

} // namespace detail

/// The observer; null for none. May be asked from any thread.
inline ActivityObserver* activityObserver() noexcept {
    return detail::activityObserver.load(std::memory_order_relaxed);
}

/// Sets the one observer; null, which is where it begins, for none. The observer lives for ever, as
/// another thread may still be within one of its functions.
VARNOL_API void activityObserverIs(ActivityObserver* observer) noexcept;

} // namespace Zel
