#include "framework/zel/Notifiee.h"

#include "framework/zel/Entity.h"
#include "framework/zel/Exception.h"
#include "framework/zel/Fatal.h"
#include "framework/zel/Strep.h"
#include "framework/zel/TypeNode.h"

namespace Zel {

using Notifiee = PtrInterface::NotifieeConst;

/// The place of one delivery in the list; the deliveries of one entity form a stack.
class NotifieeList::Cursor {
  public:
    explicit Cursor(NotifieeList& list) noexcept
        : outer(list.cursor_)
        , list_(&list) {
        list.cursor_ = this;
    }
    ~Cursor() {
        if (list_)
            list_->cursor_ = outer;
    }
    Cursor(Cursor const&) = delete;
    Cursor& operator=(Cursor const&) = delete;

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

    /// The reactor to call next.
    Notifiee const* next = nullptr;
    /// The first reactor bound since the delivery began; the delivery ends before it.
    Notifiee const* stop = nullptr;
    Cursor* const outer;
    /// How many deliveries of the entity are under way, this one included.
    U32 depth = 1;

  private:
    NotifieeList* list_;
};

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

NotifieeList::~NotifieeList() {
    if (first_)
        fatal("an entity was destroyed while reactors are bound to it");
    for (Cursor* cursor = cursor_; cursor; cursor = cursor->outer)
        cursor->listGone();
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
    for (Cursor* cursor = cursor_; cursor; cursor = cursor->outer)
        cursor->added(&reactor);
}

void NotifieeList::remove(Notifiee const& reactor) noexcept {
    for (Cursor* cursor = cursor_; cursor; cursor = cursor->outer)
        cursor->removed(&reactor, reactor.next_);
    if (reactor.next_)
        reactor.next_->previous_ = reactor.previous_;
    else
        first_->previous_ = reactor.previous_;
    if (first_ == &reactor)
        first_ = reactor.next_;
    else
        reactor.previous_->next_ = reactor.next_;
    reactor.next_ = nullptr;
    reactor.previous_ = nullptr;
}

void NotifieeList::deliver(Entity const& entity, AttributeId id, void const* key) {
    Notifiee const* reactor = first_;
    if (!reactor)
        return;
    Cursor cursor(*this);
    if (cursor.outer) {
        cursor.depth += cursor.outer->depth;
        if (cursor.depth > maxDepth)
            tooDeep(entity, id);
    }
    do {
        cursor.next = reactor->next_;
        if (reactor->hasNotificationActive())
            const_cast<Notifiee*>(reactor)->onAttribute(id, key);
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
