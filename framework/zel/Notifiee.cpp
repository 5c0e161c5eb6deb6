#include "framework/zel/Notifiee.h"

#include "framework/zel/Activity.h"
#include "framework/zel/Entity.h"
#include "framework/zel/Exception.h"
#include "framework/zel/Fatal.h"
#include "framework/zel/Start.h"
#include "framework/zel/Strep.h"
#include "framework/zel/TypeNode.h"

namespace Zel {

using Notifiee = PtrInterface::NotifieeConst;

/// The place of one delivery in a list; the deliveries of a thread form a stack.
class [[gnu::visibility("hidden")]] NotifieeList::Cursor {
  public:
    /// While one lives, the cursor is the thread's innermost. It is no part of the cursor, which
    /// others know and may change: the former innermost one then stays in a register.
    class Entered {
      public:
        Entered(Cursor& cursor, NotifieeList const& list) noexcept
            : outer_(innermost) {
            cursor.list_ = &list;
            cursor.outer_ = outer_;
            innermost = &cursor;
        }
        ~Entered() { innermost = outer_; }
        Entered(Entered const&) = delete;
        Entered& operator=(Entered const&) = delete;

        bool isNested() const noexcept { return outer_ != nullptr; }

      private:
        Cursor* const outer_;
    };

    // cppcheck-suppress uninitMemberVar ; that is what Entered does
    Cursor() = default;
    Cursor(Cursor const&) = delete;
    Cursor& operator=(Cursor const&) = delete;

    /// Calls visit(cursor) for each cursor of the list on this thread.
    template <class F> static void forEach(NotifieeList const& list, F&& visit) {
        for (Cursor* cursor = innermost; cursor; cursor = cursor->outer_) {
            if (cursor->list_ == &list)
                visit(*cursor);
        }
    }

    void added(Notifiee const* reactor) noexcept {
        if (stop)
            return;
        stop = reactor;
        if (!next)
            next = reactor;
    }
    void removed(Notifiee const* reactor, Notifiee const* successor) noexcept {
        if (next == reactor)
            next = successor;
        if (stop == reactor)
            stop = successor;
    }
    void listGone() noexcept { list_ = nullptr; }

  private:
    // Found without a call, also in a library that is loaded late.
    [[gnu::tls_model("initial-exec")]] static thread_local Cursor* innermost;

    NotifieeList const* list_;

  public:
    /// The reactor to call next.
    Notifiee const* next = nullptr;
    /// The first reactor bound since the delivery began; the delivery ends before it.
    Notifiee const* stop = nullptr;

  private:
    Cursor* outer_;
};

[[gnu::tls_model(
    "initial-exec")]] constinit thread_local NotifieeList::Cursor* NotifieeList::Cursor::innermost =
    nullptr;

namespace {

[[noreturn, gnu::cold, gnu::noinline]] void tooDeep(Entity const& entity, AttributeId id) {
    TypeNode const& type = *entity.fwkType();
    AttributeInfo const* attribute = type.attribute(id);
    const String name = attribute ? String(attribute->name) : valueToStrep(U64{id});
    fatal(String("reactors feed each other: ")
              .merge("notifications of ", type.name(), "::", name, " are nested more than ",
                     valueToStrep(U64{NotifieeList::maxDepth}), " deep"));
}

} // namespace

namespace {

constinit std::atomic<U64> delivered{counterStart<U64>()};

/// Tells the observer that a reactor reacts, for as long as it does.
[[gnu::cold, gnu::noinline]] void reactObserved(ActivityObserver& observer, Notifiee& reactor,
                                                Entity const& entity, AttributeId id,
                                                void const* key) {
    class Reaction {
      public:
        Reaction(ActivityObserver& observer, Activity const& activity) noexcept
            : observer_(observer)
            , reactor_(activity.actor)
            , begun_(observer.reactionBegins(activity)) {}
        Reaction(Reaction const&) = delete;
        Reaction& operator=(Reaction const&) = delete;
        ~Reaction() { observer_.ends(reactor_, begun_); }

      private:
        ActivityObserver& observer_;
        TypeNode const& reactor_;
        U64 begun_;
    };
    const Reaction reaction(observer, {entity, id, key, *reactor.fwkType()});
    reactor.onAttribute(id, key);
}

inline void react(Notifiee const& to, Entity const& entity, AttributeId id, void const* key) {
    auto& reactor = const_cast<Notifiee&>(to);
    delivered.store(delivered.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (ActivityObserver* observer = activityObserver()) [[unlikely]]
        reactObserved(*observer, reactor, entity, id, key);
    else
        reactor.onAttribute(id, key);
}

} // namespace

U64 notificationsDelivered() noexcept {
    return delivered.load(std::memory_order_relaxed) - counterStart<U64>();
}

NotifieeList::~NotifieeList() {
    if (first_)
        fatal("an entity was destroyed while reactors are bound to it");
    Cursor::forEach(*this, [](Cursor& cursor) { cursor.listGone(); });
}

U32 NotifieeList::members() const noexcept {
    U32 count = 0;
    for (Notifiee const* reactor = first_; reactor; reactor = reactor->next_)
        ++count;
    return count;
}

void NotifieeList::add(Notifiee const& reactor) noexcept {
    reactor.next_ = nullptr;
    if (first_) {
        reactor.previous_ = first_->previous_;
        reactor.previous_->next_ = &reactor;
    } else {
        first_ = &reactor;
    }
    first_->previous_ = &reactor;
    Cursor::forEach(*this, [&](Cursor& cursor) { cursor.added(&reactor); });
}

void NotifieeList::remove(Notifiee const& reactor) noexcept {
    Cursor::forEach(*this, [&](Cursor& cursor) { cursor.removed(&reactor, reactor.next_); });
    if (reactor.next_)
        reactor.next_->previous_ = reactor.previous_;
    else
        first_->previous_ = reactor.previous_;
    if (first_ == &reactor)
        first_ = reactor.next_;
    else
        reactor.previous_->next_ = reactor.next_;
    reactor.previous_ = nullptr;
}

void NotifieeList::deliver(Entity const& entity, AttributeId id, void const* key) {
    NotifieeList const& list = entity.notifiees_;
    Notifiee const* const reactor = list.first_;
    Cursor cursor;
    const Cursor::Entered entered(cursor, list);
    if (reactor->next_ || entered.isNested()) [[unlikely]]
        deliverToEach(cursor, entity, id, key);
    else if (reactor->hasNotificationActive()) [[likely]] // the only one, and so the last one
        react(*reactor, entity, id, key);
}

void NotifieeList::deliverToEach(Cursor& cursor, Entity const& entity, AttributeId id,
                                 void const* key) {
    NotifieeList const& list = entity.notifiees_;
    U32 depth = 0;
    Cursor::forEach(list, [&](Cursor const&) { ++depth; });
    if (depth > maxDepth)
        tooDeep(entity, id);
    Notifiee const* reactor = list.first_;
    do {
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): the cursor stops at the list's end
        cursor.next = reactor->next_;
        if (reactor->hasNotificationActive())
            react(*reactor, entity, id, key);
        reactor = cursor.next;
    } while (reactor != cursor.stop);
}

Notifiee::~NotifieeConst() { isRegisteredNotifieeIs(false); }

void Notifiee::zeroReferencesIs(bool zero) {
    if (zero)
        isRegisteredNotifieeIs(false);
}

PtrInterface* Notifiee::zelReactor() { return nullptr; }
void Notifiee::handleNotification(ActivityConfig*) {}
void Notifiee::onNotificationException() {}
void Notifiee::onZeroReferences() {}
void Notifiee::onAttribute(AttributeId, void const*) {}
PtrInterface* Notifiee::zelFwkActivity() { return nullptr; }
PtrInterface* Notifiee::actsm() { return nullptr; }

void Notifiee::notifierIs(Ptr<PtrInterface const> const& notifier) {
    if (notifier && !notifier->notifieeList())
        throwRangeException("a notifier must be an entity");
    // The former notifier lives until the new one is in place; its end may run any code.
    Ptr<PtrInterface const> other = notifier;
    isRegisteredNotifieeIs(false);
    std::swap(notifier_, other);
    isRegisteredNotifieeIs(true);
}

void Notifiee::zelDoZombieReactors(bool zombie) {
    if (zombie == zelMarkedForDeletion())
        return;
    if (notifier_)
        hasNotificationActiveIs(!zombie);
    zelMarkedForDeletionIs(zombie);
}

void Notifiee::isRegisteredNotifieeIs(bool registered) const {
    if (!notifier_ || registered == isRegisteredNotifiee())
        return;
    NotifieeList& list = *notifier_->notifieeList();
    if (registered)
        list.add(*this);
    else
        list.remove(*this);
}

} // namespace Zel
