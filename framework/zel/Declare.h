#pragma once

#include "framework/zel/Attribute.h"
#include "framework/zel/Collection.h"
#include "framework/zel/Entity.h"
#include "framework/zel/HashMap.h"
#include "framework/zel/HashMap2018.h"
#include "framework/zel/Object.h"
#include "framework/zel/RbTreeMap.h"

/// The declarations of attributes, for the body of an entity class. One line per attribute gives
/// its accessor, its mutators, its identifier, its name and its type; see Attribute.h for what can
/// be done with them. A class body reads:
///
///     class IntxMstiInfo final : public Zel::Object<IntxMstiInfo, Zel::Entity> {
///       public:
///         using NotifieeConst = Zel::NotifieeConstOf<IntxMstiInfo>;
///         static Zel::TypeNode const _zelType;
///         explicit IntxMstiInfo(Stp::BridgeSystemId mstiId) ...
///
///         /// Key: the spanning-tree instance, 0 is the CIST.
///         ZEL_KEY(258, Stp::BridgeSystemId, mstiId)
///         /// The flags octet of the BPDU.
///         ZEL_SCALAR(259, Stp::RstpBpduFlags, flags)
///     };
///
/// Two attributes of one identifier do not compile. The attributes' values begin as zero.

namespace Zel {

/// What an accessor returns: small values by value, others by reference.
template <class T> using AccessorResult = std::conditional_t<sizeof(T) <= sizeof(U32), T, T const&>;

} // namespace Zel

/// The part that all declarations share: makes `NAME##Attribute` known under its identifier.
#define ZEL_ATTRIBUTE_ID_(ID, NAME, KIND)                                                          \
    using Entity = ZelSelf;                                                                        \
    static constexpr ::Zel::AttributeId id = ID;                                                   \
    static constexpr ::std::string_view name = #NAME;                                              \
    static constexpr ::Zel::AttributeKind kind = ::Zel::AttributeKind::KIND;                       \
    static_assert(ID >= ::Zel::firstAttributeId && ID < ::Zel::attributeIdLimit)

/// A key: `NAME()`, fixed by the class's constructor, which initialises `NAME##_`.
#define ZEL_KEY(ID, TYPE, NAME)                                                                    \
  public:                                                                                          \
    struct NAME##Attribute {                                                                       \
        using Value = TYPE;                                                                        \
        ZEL_ATTRIBUTE_ID_(ID, NAME, key);                                                          \
        static ::Zel::AccessorResult<TYPE> read(Entity const& entity) { return entity.NAME(); }    \
    };                                                                                             \
    static NAME##Attribute zelAttribute(::Zel::AttributeTag<ID>);                                  \
    ::Zel::AccessorResult<TYPE> NAME() const noexcept { return NAME##_; }                          \
    ::Zel::AccessorResult<TYPE> fwkKey() const noexcept { return NAME##_; }                        \
                                                                                                   \
  private:                                                                                         \
    TYPE NAME##_;                                                                                  \
                                                                                                   \
  public:

/// The name that an entity has in its parent, its key there: `name()`, fixed by the class's
/// constructor, which initialises `name_`. Has no identifier of its own.
#define ZEL_NAME()                                                                                 \
  public:                                                                                          \
    ::Zel::Name const& name() const noexcept { return name_; }                                     \
    ::Zel::Name const& fwkKey() const noexcept { return name_; }                                   \
                                                                                                   \
  private:                                                                                         \
    ::Zel::Name name_;                                                                             \
                                                                                                   \
  public:

/// A scalar: `NAME()` and `NAME##Is(value)`, which notifies on every call, equal values included.
#define ZEL_SCALAR(ID, TYPE, NAME)                                                                 \
  public:                                                                                          \
    struct NAME##Attribute {                                                                       \
        using Value = TYPE;                                                                        \
        ZEL_ATTRIBUTE_ID_(ID, NAME, scalar);                                                       \
        static ::Zel::AccessorResult<TYPE> read(Entity const& entity) { return entity.NAME(); }    \
        static void write(Entity& entity, ::Zel::MutatorArg<TYPE> value) {                         \
            entity.NAME##Is(std::move(value));                                                     \
        }                                                                                          \
        static void store(Entity& entity, TYPE const& value) noexcept { entity.NAME##_ = value; }  \
    };                                                                                             \
    static NAME##Attribute zelAttribute(::Zel::AttributeTag<ID>);                                  \
    ::Zel::AccessorResult<TYPE> NAME() const noexcept { return NAME##_; }                          \
    void NAME##Is(::Zel::MutatorArg<TYPE> value) {                                                 \
        NAME##_ = std::move(value);                                                                \
        notify(ID);                                                                                \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    TYPE NAME##_{};                                                                                \
                                                                                                   \
  public:

/// A scalar whose handler in reactors has a name of its own, `HANDLER()`. A reactor that derives
/// from NamedHandlers has that function; it calls the reactor's `handle(NAME##Attribute)`.
#define ZEL_HANDLED_SCALAR(ID, TYPE, NAME, HANDLER)                                                \
    ZEL_SCALAR(ID, TYPE, NAME)                                                                     \
    template <class Self> struct NAME##Handler {                                                   \
        void HANDLER() { static_cast<Self&>(*this).handle(NAME##Attribute{}); }                    \
    };                                                                                             \
    template <class Self> static NAME##Handler<Self> zelHandler(::Zel::AttributeTag<ID>);          \
    template <class Reactor>                                                                       \
    static auto zelHandle(NAME##Attribute, Reactor& reactor)->decltype(reactor.HANDLER()) {        \
        return reactor.HANDLER();                                                                  \
    }

/// A map of values by key: `NAME()` to walk it, `NAME(key)` the value, zero when there is none,
/// `NAME##Is(key, value)` and `NAME##Inc(key, amount)`, which make the entry when there is none,
/// and `NAME##Del(key)`. Each write notifies with the key.
#define ZEL_VALUE_MAP(ID, KEY, VALUE, NAME)                                                        \
  public:                                                                                          \
    struct NAME##Attribute {                                                                       \
        using Key = KEY;                                                                           \
        using Value = VALUE;                                                                       \
        ZEL_ATTRIBUTE_ID_(ID, NAME, valueMap);                                                     \
        static auto const& read(Entity const& entity) { return entity.NAME##_; }                   \
        static void set(Entity& entity, KEY const& key, VALUE const& value) {                      \
            entity.NAME##Is(key, value);                                                           \
        }                                                                                          \
        static void del(Entity& entity, KEY const& key) { entity.NAME##Del(key); }                 \
    };                                                                                             \
    static NAME##Attribute zelAttribute(::Zel::AttributeTag<ID>);                                  \
    ::Zel::HashMap2018<ZelSelf, KEY, VALUE> const& NAME() const noexcept { return NAME##_; }       \
    VALUE NAME(KEY const& key) const noexcept {                                                    \
        auto const* node = NAME##_.lookupNodeG(key);                                               \
        return node ? node->value() : VALUE{};                                                     \
    }                                                                                              \
    void NAME##Is(KEY key, VALUE value) {                                                          \
        NAME##_.valueIs(key, value);                                                               \
        notify(ID, &key);                                                                          \
    }                                                                                              \
    void NAME##Inc(KEY key, VALUE amount) { NAME##Is(key, NAME(key) + amount); }                   \
    void NAME##Del(KEY key) {                                                                      \
        if (NAME##_.valueDel(key))                                                                 \
            notify(ID, &key);                                                                      \
    }                                                                                              \
                                                                                                   \
  private:                                                                                         \
    ::Zel::HashMap2018<ZelSelf, KEY, VALUE> NAME##_;                                               \
                                                                                                   \
  public:

/// A collection of child entities: `NAME()` to walk it, `NAME(key)` the child or null,
/// `NAME##Is(key)` the child, created when there is none, `NAME##Del(key)` removes it, and
/// `NAME##MemberIs(child)` puts an entity under its own key and returns the one it replaces. An
/// entity that stands in another collection already ends the process; one that stands under its key
/// in this one stays, and nothing is notified. A null one throws RangeException.
#define ZEL_COLLECTION_(ID, MAP, CHILD, KEY, NAME)                                                 \
  public:                                                                                          \
    struct NAME##Attribute {                                                                       \
        using Child = CHILD;                                                                       \
        using Key = KEY;                                                                           \
        template <class Member, class Owner> using Map = MAP<Member, KEY, Owner>;                  \
        ZEL_ATTRIBUTE_ID_(ID, NAME, collection);                                                   \
        static auto const& read(Entity const& entity) { return entity.NAME##_; }                   \
        static auto walk(Entity& entity) { return entity.NAME##_.begin(); }                        \
        static ::Zel::Ptr<CHILD> child(Entity& entity, KEY const& key) {                           \
            return entity.NAME(key);                                                               \
        }                                                                                          \
        static ::Zel::Ptr<CHILD> create(Entity& entity, KEY const& key) {                          \
            return entity.NAME##Is(key);                                                           \
        }                                                                                          \
        static void del(Entity& entity, KEY const& key) { entity.NAME##Del(key); }                 \
    };                                                                                             \
    static NAME##Attribute zelAttribute(::Zel::AttributeTag<ID>);                                  \
    MAP<CHILD, KEY, ZelSelf> const& NAME() const noexcept { return NAME##_; }                      \
    ::Zel::Ptr<CHILD const> NAME(KEY const& key) const { return NAME##_[key]; }                    \
    ::Zel::Ptr<CHILD> NAME(KEY const& key) { return NAME##_[key]; }                                \
    ::Zel::Ptr<CHILD> NAME##Is(KEY key) { return ::Zel::collectionIs(*this, ID, NAME##_, key); }   \
    ::Zel::Ptr<CHILD> NAME##MemberIs(::Zel::Ptr<CHILD> const& member) {                            \
        return ::Zel::collectionMemberIs(*this, ID, #NAME, NAME##_, member);                       \
    }                                                                                              \
    void NAME##Del(KEY key) { ::Zel::collectionDel(*this, ID, NAME##_, key); }                     \
                                                                                                   \
  private:                                                                                         \
    MAP<CHILD, KEY, ZelSelf> NAME##_;                                                              \
                                                                                                   \
  public:

/// A collection walked in ascending order of its keys.
#define ZEL_ORDERED_COLLECTION(ID, CHILD, KEY, NAME)                                               \
    ZEL_COLLECTION_(ID, ::Zel::RbTreeMap, CHILD, KEY, NAME)
/// A collection walked in no particular order.
#define ZEL_HASHED_COLLECTION(ID, CHILD, KEY, NAME)                                                \
    ZEL_COLLECTION_(ID, ::Zel::HashMap, CHILD, KEY, NAME)
