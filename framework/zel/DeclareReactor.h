#pragma once

#include "framework/zel/ChildReactors.h"
#include "framework/zel/Declare.h"

/// The declarations of attributes for the body of a root syncer's or a reactor's class, beside
/// those of Declare.h: ZEL_KEY for its key, and these. They give what the declarations of entities
/// give, and what they declare is printed, compared, read and written in the same way; but nobody
/// can watch it.
///
/// A reactor that declares no attribute has `notifier`, the entity watched, and `owner`; one that
/// declares any has only those.

/// A value that only the object itself writes, mostly a constructor parameter: `NAME()`. The
/// constructor initialises `NAME##_`.
#define ZEL_CONSTANT(ID, TYPE, NAME)                                                               \
    ZEL_CONSTANT_VIEW(ID, TYPE, NAME)                                                              \
    ::Zel::AccessorResult<TYPE> NAME() const noexcept { return NAME##_; }                          \
                                                                                                   \
  private:                                                                                         \
    TYPE NAME##_{};                                                                                \
                                                                                                   \
  public:

/// The same for a value that lies elsewhere: the class has `NAME()`, which gives a TYPE.
#define ZEL_CONSTANT_VIEW(ID, TYPE, NAME) ZEL_VIEW_(ID, TYPE, NAME, constant, NAME(), )
/// A scalar that lies elsewhere: the class has `NAME()`, which gives a TYPE, and `NAME##Is(value)`.
#define ZEL_SCALAR_VIEW(ID, TYPE, NAME)                                                            \
    ZEL_VIEW_(                                                                                     \
        ID, TYPE, NAME, scalar, NAME(),                                                            \
        static void write(Entity& entity, Value const& value) { entity.NAME##Is(value); })
/// The object that owns the reactor, under the name NAME.
#define ZEL_OWNER(ID, TYPE, NAME) ZEL_VIEW_(ID, ::Zel::Ptr<TYPE const>, NAME, constant, owner(), )

#define ZEL_VIEW_(ID, TYPE, NAME, KIND, READ, WRITE)                                               \
  public:                                                                                          \
    struct NAME##Attribute {                                                                       \
        using Value = TYPE;                                                                        \
        ZEL_ATTRIBUTE_ID_(ID, NAME, KIND);                                                         \
        static Value read(Entity const& entity) { return Value(entity.READ); }                     \
        WRITE                                                                                      \
    };                                                                                             \
    static NAME##Attribute zelAttribute(::Zel::AttributeTag<ID>);

/// Child reactors or syncers, by key: `NAME(key)` the child or null, `NAME##Del(key)`,
/// `NAME##Del(walk)`, the child on which a walk of children() stands, `NAME##DelAll()`, and
/// `children()`. How they are made is the class's own. ZEL_DEFINE_CHILDREN, in the class's source
/// file, defines them.
///
/// @param REACTORS  a KeyedReactors
#define ZEL_CHILDREN(ID, REACTORS, NAME) ZEL_CHILDREN_(ID, REACTORS, NAME, )
/// A reactor for each element of a collection: besides, `NAME##Is(element)`, the child that watches
/// the element, created or bound to it; see ChildReactors::is(). ZEL_DEFINE_CHILD_REACTORS defines
/// them.
///
/// @param REACTORS  a ChildReactors
#define ZEL_CHILD_REACTORS(ID, REACTORS, NAME)                                                     \
    ZEL_CHILDREN_(                                                                                 \
        ID, REACTORS, NAME, using Element = REACTORS::Element;                                     \
        static auto is(Entity& entity, ::Zel::Ptr<Element const> const& element) {                 \
            return entity.NAME##Is(element);                                                       \
        })                                                                                         \
    ::Zel::Ptr<REACTORS::Child> NAME##Is(::Zel::Ptr<REACTORS::Element const> const& element);

#define ZEL_CHILDREN_(ID, REACTORS, NAME, CREATE)                                                  \
  public:                                                                                          \
    struct NAME##Attribute {                                                                       \
        using Reactors = REACTORS;                                                                 \
        using Child = REACTORS::Child;                                                             \
        using Key = REACTORS::Key;                                                                 \
        using KeyArg = ::Zel::MutatorArg<Key>;                                                     \
        ZEL_ATTRIBUTE_ID_(ID, NAME, reactors);                                                     \
        static auto const& read(Entity const& entity) { return entity.NAME##_.map(); }             \
        static auto walk(Entity& entity) { return entity.NAME##_.begin(); }                        \
        static auto child(Entity& entity, Key const& key) { return entity.NAME(key); }             \
        static void del(Entity& entity, Key const& key) { entity.NAME##Del(key); }                 \
        CREATE                                                                                     \
    };                                                                                             \
    static NAME##Attribute zelAttribute(::Zel::AttributeTag<ID>);                                  \
    REACTORS& children() noexcept { return NAME##_; }                                              \
    ::Zel::Ptr<REACTORS::Child> NAME(::Zel::MutatorArg<REACTORS::Key> key);                        \
    void NAME##Del(::Zel::MutatorArg<REACTORS::Key> key);                                          \
    void NAME##Del(REACTORS::Walk const& at);                                                      \
    void NAME##DelAll();                                                                           \
                                                                                                   \
  private:                                                                                         \
    REACTORS NAME##_;                                                                              \
                                                                                                   \
  public:

///@{
/// Defines, in the source file of CLASS, what the declaration of NAME in its body declares.
#define ZEL_DEFINE_CHILDREN(CLASS, NAME)                                                           \
    ::Zel::Ptr<CLASS::NAME##Attribute::Child> CLASS::NAME(NAME##Attribute::KeyArg key) {           \
        return ::Zel::Ptr<NAME##Attribute::Child>(NAME##_.find(key));                              \
    }                                                                                              \
    void CLASS::NAME##Del(NAME##Attribute::KeyArg key) { NAME##_.del(key); }                       \
    void CLASS::NAME##Del(NAME##Attribute::Reactors::Walk const& at) { NAME##_.del(at); }          \
    void CLASS::NAME##DelAll() { NAME##_.delAll(); }

#define ZEL_DEFINE_CHILD_REACTORS(CLASS, NAME)                                                     \
    ZEL_DEFINE_CHILDREN(CLASS, NAME)                                                               \
    ::Zel::Ptr<CLASS::NAME##Attribute::Child> CLASS::NAME##Is(                                     \
        ::Zel::Ptr<NAME##Attribute::Element const> const& element) {                               \
        return NAME##_.is(*this, element);                                                         \
    }
///@}
