#pragma once

#include "framework/zel/Activity.h"
#include "framework/zel/CopyScalars.h"
#include "framework/zel/Entity.h"
#include "framework/zel/TypeNode.h"

namespace Zel {

/// An entity while it is written: `->` and `*` reach it, and the ActivityObserver is told of the
/// beginning and of the end. Lives as long as the statement that made it.
template <class E> class BeingWritten {
  public:
    /// Counts the write in the type node of the actor, a reactor or syncer, and tells the observer.
    /// @param attribute  what is written; 0 for all
    /// @param key  of the element, or null; not copied
    [[gnu::always_inline]] BeingWritten(E& entity, AttributeId attribute, void const* key,
                                        TypeNode const& actor) noexcept
        : entity_(entity)
        , actor_(actor)
        , observer_(activityObserver()) {
        actor.writesInc();
        if (observer_) [[unlikely]]
            begun_ = begin(*observer_, entity, attribute, key, actor);
    }
    BeingWritten(BeingWritten const&) = delete;
    BeingWritten& operator=(BeingWritten const&) = delete;
    [[gnu::always_inline]] ~BeingWritten() {
        if (observer_) [[unlikely]]
            observer_->ends(actor_, begun_);
    }

    ///@{
    /// For the call of one mutator.
    E* operator->() const noexcept { return &entity_; }
    E& operator*() const noexcept { return entity_; }
    ///@}

  private:
    // Apart, so that the object need not be in memory.
    [[gnu::cold, gnu::noinline]] static U64 begin(ActivityObserver& observer, Entity const& entity,
                                                  AttributeId attribute, void const* key,
                                                  TypeNode const& actor) noexcept {
        return observer.writeBegins({entity, attribute, key, actor});
    }

    E& entity_;
    TypeNode const& actor_;
    ActivityObserver* const observer_;
    U64 begun_ = 0;
};

/// A base of the reactors and root syncers: how Self writes into its destination. Each write is
/// counted in Self's type node, as one, also that of a whole entity.
template <class Self> class Writer {
  protected:
    /// The entity, for the call of one mutator of the attribute A:
    ///
    ///     writing<TxMstPortStatus::txUpdateAttribute>(*dest_, vlan)->txUpdateDel(vlan);
    ///
    /// @param key  of the element, for an attribute that has keys; not copied
    template <KeyedAttribute A>
    static BeingWritten<typename A::Entity> writing(typename A::Entity& entity,
                                                    typename A::Key const& key) noexcept {
        return {entity, A::id, &key, Self::_zelType};
    }
    /// The same for a scalar.
    template <ScalarAttribute A>
    static BeingWritten<typename A::Entity> writing(typename A::Entity& entity) noexcept {
        return {entity, A::id, nullptr, Self::_zelType};
    }
    /// The entity, to be written whole.
    template <class E> static BeingWritten<E> writingAll(E& entity) noexcept {
        return {entity, 0, nullptr, Self::_zelType};
    }
    /// Writes a scalar.
    template <ScalarAttribute A>
    static void write(A, typename A::Entity& entity, MutatorArg<typename A::Value> value) {
        if (activityObserver()) [[unlikely]] {
            writeObserved<A>(entity, std::move(value));
        } else {
            Self::_zelType.writesInc();
            A::write(entity, std::move(value));
        }
    }
    /// Writes every scalar, see copyScalars().
    template <class E> static void writeScalars(E const* from, E& to) {
        copyScalars(from, *writingAll(to));
    }

  private:
    template <ScalarAttribute A>
    [[gnu::cold, gnu::noinline]] static void writeObserved(typename A::Entity& entity,
                                                           MutatorArg<typename A::Value> value) {
        A::write(*writing<A>(entity), std::move(value));
    }
};

} // namespace Zel
