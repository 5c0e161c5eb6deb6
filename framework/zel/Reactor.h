#pragma once

#include "framework/zel/Attribute.h"
#include "framework/zel/Entity.h"
#include "framework/zel/Object.h"
#include "framework/zel/Writer.h"

namespace Zel {

namespace detail {

template <class Self, class E, AttributeId id> struct NamedHandler {};
template <class Self, class E, AttributeId id>
requires requires { E::template zelHandler<Self>(AttributeTag<id>{}); }
struct NamedHandler<Self, E, id> : decltype(E::template zelHandler<Self>(AttributeTag<id>{})) {};

template <class Self, class E, class Range> struct NamedHandlers;
template <class Self, class E, AttributeId... offset>
struct NamedHandlers<Self, E, std::integer_sequence<AttributeId, offset...>>
    : NamedHandler<Self, E, firstAttributeId + offset>... {};

} // namespace detail

/// Gives Self a member function for each attribute of E whose declaration names its handler.
template <class Self, class E>
struct NamedHandlers : detail::NamedHandlers<Self, E, detail::AttributeRange> {};

/// A reactor of the syncer pattern: watches one entity of class E for the object that owns it.
///
/// Self is the reactor's class; it says what is particular, and this template does the rest:
///
/// - `void handle(A)` for each scalar attribute A that it watches, where A is the attribute's
///   description, as IntxInfo::stpVersionAttribute; a function template serves many at once. Where
///   the attribute's declaration gives its handler a name, Self has a function of that name
///   (itself, or from NamedHandlers), and that one is called.
/// - `void handle(A, key)` for each collection or map of values that it watches.
/// - `Keeper& keeper(A)` for a collection attribute whose elements have child reactors of their
///   own: the object that keeps them, with `children()` for the ChildReactors.
/// - `children()`, its KeyedReactors, if it keeps any itself; its destructor then calls tearDown().
/// - `void rebound()` where a new notifier means something else than replay() and resync().
///
/// A handler may do anything, also destroy the reactor, its owner and both trees. One that is given
/// a key finds the reactor alive to its end; the owner only where there is a keeper of the
/// attribute. The constructor of a class with children, or that runs handlers, holds a
/// PtrInterface::Construction.
template <class Self, class E, class Owner>
class Reactor : public Object<Self, NotifieeConstOf<E>>, protected Writer<Self> {
    using Base = Object<Self, NotifieeConstOf<E>>;

  public:
    using Watched = E;        ///< the class of the entity
    using OwnerClass = Owner; ///< the class of the owner

    /// The attributes of a reactor that declares none (see DeclareReactor.h).
    struct notifierAttribute {
        using Entity = Self;
        using Value = Zel::Ptr<E const>;
        static constexpr AttributeId id = 258;
        static constexpr std::string_view name = "notifier";
        static constexpr AttributeKind kind = AttributeKind::constant;
        static Value read(Entity const& reactor) { return reactor.notifier(); }
    };
    struct ownerAttribute {
        using Entity = Self;
        using Value = Zel::Ptr<Owner const>;
        static constexpr AttributeId id = 259;
        static constexpr std::string_view name = "owner";
        static constexpr AttributeKind kind = AttributeKind::constant;
        static Value read(Entity const& reactor) { return Value(reactor.owner()); }
    };
    static notifierAttribute zelAttribute(AttributeTag<258>);
    static ownerAttribute zelAttribute(AttributeTag<259>);

    ~Reactor() override = default;

    /// The root syncer or reactor that owns this one; null once it has removed it.
    Owner* owner() const noexcept { return owner_; }
    /// The owner has let go of the reactor.
    void ownerDel() noexcept { owner_ = nullptr; }

    /// The entity watched, without a reference taken; null while unbound.
    E const* watched() const noexcept { return Base::watched(); }

    /// Switches the reactor, and the child reactors that it keeps, on or off; nothing when it is so
    /// already.
    void hasNotificationActiveIs(bool active) override {
        if (active == this->hasNotificationActive())
            return;
        Base::hasNotificationActiveIs(active);
        if constexpr (requires(Self & reactor) { reactor.children(); })
            self().children().hasNotificationActiveIs(active);
    }

    /// Runs the handler of the attribute unless the reactor is a zombie; then, for a collection
    /// with child reactors, brings the child under the key in line with the notifier. Ignores
    /// attributes that Self does not watch, and a null key of a collection.
    void onAttribute(AttributeId id, void const* key) override {
        dispatchAttribute<E>(id, [&](auto attribute) { this->react(attribute, key); });
    }

    /// Watches another entity; the same one again changes nothing. A new one that is not null is
    /// followed by Self::rebound(). What that throws passes through: the new entity is watched
    /// then, and binding it again runs rebound() again.
    void notifierIs(Zel::Ptr<PtrInterface const> const& notifier) override {
        if (isInLineWith(notifier.ptr()))
            return;
        const Zel::Ptr<Self> alive(&self());
        const Zel::Ptr<Owner> ownerAlive(owner_);
        E const* const former = watched();
        if (notifier.ptr() != former)
            Base::notifierIs(notifier);
        this->isBehindIs(false);
        E const* const wanted = watched();
        try {
            if (wanted)
                self().rebound();
        } catch (...) {
            if (watched() == wanted)
                this->isBehindIs(true);
            throw;
        }
        this->isRegisteredNotifieeIs(true);
    }

    /// Whether the reactor watches the entity, and has done all that binding it set off.
    bool isInLineWith(PtrInterface const* entity) const noexcept {
        return watched() == entity && !this->isBehind();
    }

    /// Turns the reactor, and the child reactors that it keeps, into zombies, or back; nothing when
    /// it is so already.
    void zelDoZombieReactors(bool zombie) override {
        if (zombie == this->zelMarkedForDeletion())
            return;
        if constexpr (requires(Self & reactor) { reactor.children(); })
            self().children().zelDoZombieReactors(zombie);
        Base::zelDoZombieReactors(zombie);
    }

    /// Whether the reactor, or an object that owns it, is a zombie. A new reactor becomes one only
    /// when it is complete, with the reactors that it owns.
    bool isOfZombie() const noexcept {
        if (this->zelMarkedForDeletion() || !owner_)
            return this->zelMarkedForDeletion();
        if constexpr (requires { owner_->isOfZombie(); })
            return owner_->isOfZombie();
        else
            return owner_->zelMarkedForDeletion();
    }

    /// What a new notifier sets off, in this order: all scalar handlers, then the child reactors.
    void rebound() {
        replay();
        resync();
    }

  protected:
    /// Binds the new reactor; calls no handler.
    Reactor(Zel::Ptr<E const> const& entity, Owner* owner)
        : owner_(owner) {
        Base::notifierIs(entity);
        this->isRegisteredNotifieeIs(true);
    }

    /// The last step of the constructor of a class that has it: runs Self::handleInitialized(),
    /// unless the reactor is made for a zombie, whose reactors run no handler.
    void start() {
        if (!isOfZombie())
            self().handleInitialized();
    }

    /// The first step of the destructor of a class with children: no handler runs any more, every
    /// child is let go.
    void tearDown() noexcept {
        self().zelDoZombieReactors(true);
        self().children().release();
    }

    /// Runs the handler of every scalar that Self watches, in the order of declaration, while the
    /// reactor is no zombie and watches the entity that it watched at the beginning.
    void replay() {
        E const* const notifier = watched();
        forEachAttribute<E>([&](auto attribute) {
            if constexpr (watchesScalar<decltype(attribute)>) {
                if (!this->zelMarkedForDeletion() && watched() == notifier)
                    runHandler(attribute);
            }
        });
    }

    /// Brings every collection of child reactors in line with the notifier. A handler that a child
    /// runs may bind the reactor anew: goes on until the children are in line with the latest one.
    void resync() {
        forEachAttribute<E>([&](auto attribute) {
            if constexpr (requires { self().keeper(attribute); }) {
                Zel::Ptr<E const> inLine;
                while (watched() && watched() != inLine.ptr() && owner_) {
                    inLine = this->notifier();
                    auto& keeper = self().keeper(attribute);
                    keeper.children().resync(keeper, inLine);
                }
            }
        });
    }

  private:
    Self& self() noexcept { return static_cast<Self&>(*this); }

    /// Whether Self has a handler of the scalar, under the name that its declaration gives or not.
    template <class A> static constexpr bool hasNamedHandler = requires(Self& reactor) {
        E::zelHandle(A{}, reactor);
    };
    template <class A> static constexpr bool hasHandler = requires(Self& reactor) {
        reactor.handle(A{});
    };
    template <class A>
    static constexpr bool watchesScalar = ScalarAttribute<A> &&
                                          (hasNamedHandler<A> || hasHandler<A>);
    template <ScalarAttribute A> void runHandler(A attribute) {
        if constexpr (hasNamedHandler<A>)
            E::zelHandle(attribute, self());
        else
            self().handle(attribute);
    }

    template <ScalarAttribute A> void react(A attribute, void const*) {
        if constexpr (watchesScalar<A>) {
            if (!this->zelMarkedForDeletion()) [[likely]]
                runHandler(attribute);
        }
    }

    template <KeyedAttribute A> void react(A attribute, void const* keyPointer) {
        using Key = typename A::Key;
        constexpr bool handles = requires(Self & reactor, Key const& key) {
            reactor.handle(attribute, key);
        };
        constexpr bool keeps = requires(Self & reactor) { reactor.keeper(attribute); };
        if constexpr (handles || keeps) {
            if (!keyPointer)
                return;
            const Key key = *static_cast<Key const*>(keyPointer);
            const Zel::Ptr<Self> alive(&self());
            const Zel::Ptr<Owner> ownerAlive(keeps ? owner_ : nullptr);
            if constexpr (handles) {
                if (!this->zelMarkedForDeletion())
                    self().handle(attribute, key);
            }
            if constexpr (keeps)
                followElement(attribute, key);
        }
    }
    template <class A> void react(A, void const*) {} // a key does not change

    /// A handler that the child runs may change the collection again: goes on until child and
    /// element agree.
    template <class A> void followElement(A attribute, typename A::Key const& key) {
        using Element = typename A::Child;
        while (watched() && owner_) {
            auto& keeper = self().keeper(attribute);
            const Zel::Ptr<Element const> element(A::read(*watched()).find(key));
            if (element)
                keeper.children().is(keeper, element);
            else
                keeper.children().del(key);
            if (!watched() || keeper.children().watchedUnder(key) == A::read(*watched()).find(key))
                return;
        }
    }

    Owner* owner_;
};

} // namespace Zel
