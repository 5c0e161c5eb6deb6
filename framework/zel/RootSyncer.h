#pragma once

#include "framework/zel/ChildReactors.h"
#include "framework/zel/Initialized.h"
#include "framework/zel/Reactor.h"
#include "framework/zel/Writer.h"

#include <utility>

namespace Zel {

/// A root syncer of the pattern: owns the reactor on its source entity, of class E, and its child
/// reactors, and lives until the last reference to it goes.
///
/// Self is the syncer's class. It has a nested class `ZelSource`, a Reactor on E owned by Self, and
/// `children()` for its KeyedReactors if it has any. Its constructor has construct() call, in this
/// order, sourceStart(), what it does itself, children().resync() and handleInitialized(), with
/// which Self derives from Initialized; its destructor calls tearDown().
template <class Self, class E>
class RootSyncer : public Object<Self, PtrInterface>, protected Writer<Self> {
    using Base = Object<Self, PtrInterface>;

  public:
    /// The source entity; null without one.
    Zel::Ptr<E const> source() const noexcept { return Zel::Ptr<E const>(watched()); }

    /// Watches another source: binds the reactor on it, or creates that reactor when there is none.
    /// A reactor that is bound anew runs its handlers and brings the children in line; one that is
    /// created does neither. So after sourceDel() each child stays on the former source's element
    /// until the new source reports its key, or until a further source is bound. What a handler
    /// throws passes through, as std::bad_alloc: the new source is watched then, and the same call
    /// again does the rest.
    void sourceIs(Zel::Ptr<E const> const& source) {
        if (source_)
            source_->notifierIs(source);
        else
            sourceStart(source);
    }

    /// Watches another source through a new reactor, which replaces the one that there is; the same
    /// source again changes nothing. Throws std::bad_alloc, and changes nothing.
    void sourceReplace(Zel::Ptr<E const> const& source) {
        if (source.ptr() == watched())
            return;
        const Zel::Ptr<SourceReactor> made = sourceReactor(source);
        sourceDel();
        source_ = made;
    }

    /// Removes the reactor on the source. Children and destination stay as they are.
    void sourceDel() {
        if (!source_)
            return;
        const Zel::Ptr<SourceReactor> removed = std::exchange(source_, nullptr);
        retire(static_cast<typename Self::ZelSource&>(*removed));
    }

    /// Switches the whole tree of reactors on or off; nothing when it is so already.
    void hasNotificationActiveIs(bool active) override {
        if (active == this->hasNotificationActive())
            return;
        Base::hasNotificationActiveIs(active);
        if (source_)
            source_->hasNotificationActiveIs(active);
        if constexpr (requires(Self & syncer) { syncer.children(); })
            self().children().hasNotificationActiveIs(active);
    }

    /// Turns the whole tree of reactors into zombies, or back; nothing when it is so already.
    virtual void zelDoZombieReactors(bool zombie) {
        if (zombie == this->zelMarkedForDeletion())
            return;
        if (source_)
            source_->zelDoZombieReactors(zombie);
        if constexpr (requires(Self & syncer) { syncer.children(); })
            self().children().zelDoZombieReactors(zombie);
        this->zelMarkedForDeletionIs(zombie);
    }

    /// The source entity, without a reference taken.
    E const* watched() const noexcept {
        return source_ ? static_cast<typename Self::ZelSource const&>(*source_).watched() : nullptr;
    }

    /// The reactor on the source; null without one.
    auto zelSource() const noexcept {
        return Zel::Ptr(static_cast<typename Self::ZelSource*>(source_.ptr()));
    }

  protected:
    RootSyncer() = default;

    /// Does the steps of Self's constructor, as its last one. What they throw passes through, after
    /// the syncer was torn down while all of it is still there: its source reactor is on, and what
    /// the destructors of its children do to the source would find a part of it. References to the
    /// syncer may be taken and given back meanwhile.
    template <class Steps> void construct(Steps const& steps) {
        const PtrInterface::Construction alive(*this);
        try {
            steps();
        } catch (...) {
            tearDown();
            throw;
        }
    }

    /// Creates the reactor on the source and switches its notification on; nothing for null. The
    /// reactor of a zombie is a zombie.
    void sourceStart(Zel::Ptr<E const> const& source) { source_ = sourceReactor(source); }

    /// The first step of Self's destructor: no handler runs any more, every child is let go, and
    /// then the reactor on the source.
    void tearDown() noexcept {
        self().zelDoZombieReactors(true);
        if constexpr (requires(Self & syncer) { syncer.children(); })
            self().children().release();
        sourceDel();
    }

  private:
    using SourceReactor = typename E::NotifieeConst;

    Self& self() noexcept { return static_cast<Self&>(*this); }

    Zel::Ptr<SourceReactor> sourceReactor(Zel::Ptr<E const> const& source) {
        if (!source)
            return nullptr;
        const auto made = newActive<typename Self::ZelSource>(source, &self());
        if (this->zelMarkedForDeletion())
            made->zelDoZombieReactors(true);
        return made;
    }

    Zel::Ptr<SourceReactor> source_;
};

} // namespace Zel
