#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Attribute.h"
#include "framework/zel/PtrInterface.h"

namespace Zel {

class Entity;

/// The reactors bound to one entity, in the order in which they were bound.
///
/// The list owns no reactor and allocates nothing: reactors carry the links. While a notification
/// is delivered, a cursor on the stack marks the place; whoever changes the list moves its cursors,
/// so that any reactor may bind, unbind or destroy any reactor, itself and the entity included. A
/// thread's cursors are linked, the innermost first: a list is one word. Different threads may use
/// the lists of different entities.
class VARNOL_API NotifieeList {
  public:
    NotifieeList() noexcept = default;
    NotifieeList(NotifieeList const&) = delete;
    NotifieeList& operator=(NotifieeList const&) = delete;
    /// Deliveries still under way end without touching the list. Fatal while a reactor is bound.
    ~NotifieeList();

    /// Whether no reactor is in the list; a bound one may have been taken out.
    bool empty() const noexcept { return first_ == nullptr; }
    /// The number of reactors, counted.
    U32 members() const noexcept;

    ///@{
    /// Enters a reactor that is in no list at the end, or takes one out of this list.
    /// isRegisteredNotifieeIs() of the reactor is the way to both. A delivery under way does not
    /// reach a reactor that was entered meanwhile.
    void add(PtrInterface::NotifieeConst const& reactor) noexcept;
    void remove(PtrInterface::NotifieeConst const& reactor) noexcept;
    ///@}

    /// How deep deliveries of one entity may be nested; deeper, the process ends.
    static constexpr U32 maxDepth = 64;

  private:
    friend Entity;
    class Cursor;

    /// Calls onAttribute(id, key) on each reactor of the entity whose notification is active: at
    /// once, depth first, in the order of binding. One that is unbound, switched off or destroyed
    /// meanwhile is not called any more; one that is bound meanwhile is not called in this
    /// delivery. What a reactor throws ends the delivery and goes on to the caller. Fatal when
    /// deliveries of one entity are nested deeper than maxDepth: then reactors feed each other.
    /// Requires: the entity has a reactor.
    VARNOL_NO_PLT static void deliver(Entity const& entity, AttributeId id, void const* key);

    /// The delivery that a cursor has been entered for.
    [[gnu::noinline, gnu::visibility("hidden")]] static void
    deliverToEach(Cursor& cursor, Entity const& entity, AttributeId id, void const* key);

    PtrInterface::NotifieeConst const* first_ = nullptr;
};

/// How many notifications reactors have taken, in this process. Those that two threads deliver at
/// the same time may be counted as one.
VARNOL_API U64 notificationsDelivered() noexcept;

} // namespace Zel
