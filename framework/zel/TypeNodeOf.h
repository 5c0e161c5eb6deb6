#pragma once

#include "framework/zel/Fatal.h"
#include "framework/zel/GenericIf.h"
#include "framework/zel/TypeNode.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <span>
#include <tuple>
#include <typeinfo>
#include <utility>

/// The generic attribute interface of a class, made from the declarations of its attributes. To be
/// included where type nodes are defined; what is behind them is GenericIf.h's.
namespace Zel {

namespace detail {

/// Throws the RangeException "attribute Class::name" and what is wrong with it.
[[noreturn]] VARNOL_API void attributeRefused(TypeNode const& type, std::string_view attribute,
                                              std::string_view why);
/// Throws the RangeException that something takes one type, and was given another.
/// @param what  as "attribute Class::name takes a key"
[[noreturn]] VARNOL_API void otherType(String what, std::type_info const& expected,
                                       Value const& given);
[[noreturn]] VARNOL_API void otherArgumentCount(TypeNode const& type, std::size_t expected,
                                                std::size_t given);
[[noreturn]] VARNOL_API void nullArgument(TypeNode const& type, std::string_view argument);

/// The value as a T, if it is one.
template <class T> T valueAs(Value const& value, auto const& what) {
    if constexpr (CountedPointer<T>) {
        if (T pointer; value.pointerTo(pointer))
            return pointer;
    } else if (T const* held = value.as<T>()) {
        return *held;
    }
    otherType(what(), typeid(T), value);
}

template <class A> String attributeText(std::string_view what) {
    return String("attribute ").merge(A::Entity::_zelType.name(), "::", A::name, " takes a ", what);
}

template <class A> [[noreturn]] void refuse(std::string_view why) {
    attributeRefused(A::Entity::_zelType, A::name, why);
}

template <class A> typename A::Key keyOf(Value const& key) {
    return valueAs<typename A::Key>(key, [] { return attributeText<A>("key"); });
}

template <class A> void noKey(Value const& key) {
    if (!key.none())
        refuse<A>("has no keys");
}

template <class A>
GenericIfResult readAttribute(typename A::Entity& object, bool writable, Value& value,
                              Value const& key) {
    if constexpr (ElementsAttribute<A>) {
        const typename A::Key wanted = keyOf<A>(key);
        if constexpr (ValueMapAttribute<A>) {
            auto const* const entry = A::read(object).lookupNodeG(wanted);
            value = entry ? Value(entry->value()) : Value();
        } else if (writable) {
            auto const child = A::child(object, wanted);
            value = child ? Value(child) : Value();
        } else {
            auto const* const child = A::read(object).find(wanted);
            value = child ? Value(Ptr(child)) : Value();
        }
        return value.none() ? GenericIfResult::absent : GenericIfResult::done;
    } else {
        noKey<A>(key);
        typename A::Value const& read = A::read(object);
        value = Value(read);
        return GenericIfResult::done;
    }
}

template <class A>
GenericIfResult writeAttribute(typename A::Entity& object, Value& value, Value const& key) {
    if constexpr (ScalarAttribute<A>) {
        noKey<A>(key);
        A::write(object,
                 valueAs<typename A::Value>(value, [] { return attributeText<A>("value"); }));
    } else if constexpr (ValueMapAttribute<A>) {
        const typename A::Key wanted = keyOf<A>(key);
        A::set(object, wanted,
               valueAs<typename A::Value>(value, [] { return attributeText<A>("value"); }));
    } else if constexpr (CollectionAttribute<A>) {
        const typename A::Key wanted = keyOf<A>(key);
        if (!value.none())
            refuse<A>("makes its children itself and takes no value");
        value = Value(A::create(object, wanted));
    } else if constexpr (requires { typename A::Element; }) {
        noKey<A>(key);
        value = Value(A::is(object, valueAs<Ptr<typename A::Element const>>(
                                        value, [] { return attributeText<A>("value"); })));
    } else {
        refuse<A>("cannot be written");
    }
    return GenericIfResult::done;
}

template <class A> GenericIfResult deleteElement(typename A::Entity& object, Value const& key) {
    if constexpr (ElementsAttribute<A>) {
        const typename A::Key wanted = keyOf<A>(key);
        bool present;
        if constexpr (ValueMapAttribute<A>)
            present = A::read(object).lookupNodeG(wanted) != nullptr;
        else
            present = A::read(object).find(wanted) != nullptr;
        A::del(object, wanted);
        return present ? GenericIfResult::done : GenericIfResult::absent;
    } else {
        refuse<A>("has no elements to delete");
    }
}

template <class T>
GenericIfResult attributeOpOf(PtrInterface& object, bool writable, AttributeId id,
                              AttributeOp operation, Value& value, Value const& key) {
    GenericIfResult result = GenericIfResult::notHandled;
    Zel::dispatchAttribute<T>(id, [&](auto attribute) {
        using A = decltype(attribute);
        T& self = static_cast<T&>(object);
        if (operation != AttributeOp::read && !writable)
            refuse<A>("is one of an object that may only be read");
        switch (operation) {
        case AttributeOp::read:
            result = readAttribute<A>(self, writable, value, key);
            break;
        case AttributeOp::write:
            result = writeAttribute<A>(self, value, key);
            break;
        case AttributeOp::del:
            result = deleteElement<A>(self, key);
            break;
        }
    });
    return result;
}

/// A walk over the elements of attribute A of a T, or of a T const.
template <class A, class T> class AttributeWalk final : public GenericIterator {
  public:
    explicit AttributeWalk(T& object)
        : object_(&object)
        , walk_(begin(object)) {}

    bool iterNonnull() const override { return !(walk_ == std::default_sentinel); }
    void iterInc() override {
        assertNonnull();
        ++walk_;
    }
    Value iterKey() const override { return Value(key()); }
    Value iterObj() const override {
        assertNonnull();
        if constexpr (ValueMapAttribute<A>)
            return Value(walk_->value());
        else
            return Value(*walk_);
    }
    void iterDel() override {
        if constexpr (std::is_const_v<T>)
            refuse<A>("is one of an object that may only be read");
        else
            A::del(*object_, key());
    }

  private:
    static auto begin(T& object) {
        if constexpr (ValueMapAttribute<A> || std::is_const_v<T>)
            return A::read(object).begin();
        else
            return A::walk(object);
    }
    void assertNonnull() const {
        if (!iterNonnull())
            assertionFailed("iterNonnull()", "Zel::GenericIterator");
    }
    typename A::Key key() const {
        assertNonnull();
        if constexpr (ValueMapAttribute<A>)
            return walk_->key();
        else
            return (*walk_)->fwkKey();
    }

    Ptr<T> object_;
    decltype(begin(std::declval<T&>())) walk_;
};

template <class T>
std::unique_ptr<GenericIterator> iteratorOf(PtrInterface& object, bool writable, AttributeId id) {
    std::unique_ptr<GenericIterator> walk;
    Zel::dispatchAttribute<T>(id, [&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (ElementsAttribute<A>) {
            T& self = static_cast<T&>(object);
            if (writable)
                walk = std::make_unique<AttributeWalk<A, T>>(self);
            else
                walk = std::make_unique<AttributeWalk<A, T const>>(self);
        }
    });
    return walk;
}

template <class T>
concept HasKey = requires(T const& object) {
    object.fwkKey();
};

template <class T> using KeyOf = std::remove_cvref_t<decltype(std::declval<T const&>().fwkKey())>;

template <class T> Value fwkKeyOf(PtrInterface const& object) {
    if constexpr (HasKey<T>)
        return Value(KeyOf<T>(static_cast<T const&>(object).fwkKey()));
    else
        return Value();
}

/// Requires: a key that is a text stands in the object.
template <class T> KeyView fwkKeyViewOf(PtrInterface const& object) noexcept {
    return keyView(static_cast<T const&>(object).fwkKey());
}

template <class T> consteval auto keyViewerOf() {
    using View = KeyView (*)(PtrInterface const&) noexcept;
    if constexpr (HasKey<T>)
        return View{&fwkKeyViewOf<T>};
    else
        return View{nullptr};
}

template <class T> String keyInfoOf(PtrInterface const& object) {
    T const& self = static_cast<T const&>(object);
    if constexpr (requires { self.keyInfo(); })
        return self.keyInfo();
    else if constexpr (HasKey<T>)
        return String("[").merge(Value(KeyOf<T>(self.fwkKey())).text(), "]");
    else
        return {};
}

/// The creator of a reactor: has its owner bring it about.
template <class T>
Ptr<T> reactorOf(Ptr<typename T::Watched const> const& entity,
                 Ptr<typename T::OwnerClass> const& owner) {
    using Owner = typename T::OwnerClass;
    if (!owner)
        nullArgument(T::_zelType, "an owner");
    if constexpr (requires { requires std::same_as<typename Owner::ZelSource, T>; }) {
        if (!entity)
            nullArgument(T::_zelType, "a source");
        owner->sourceIs(entity);
        return owner->zelSource();
    } else {
        return owner->children().is(*owner, entity);
    }
}

template <class T> Ptr<T> madeOf(KeyOf<T> const& key) { return Ptr<T>(new T(key)); }
template <class T> Ptr<T> madeOfNothing() { return Ptr<T>(new T); }

/// The creator of a class that gives none.
template <class T> consteval auto creatorOf() {
    if constexpr (requires { typename T::OwnerClass; })
        return &reactorOf<T>;
    else if constexpr (requires(T const& object) { new T(object.fwkKey()); })
        return &madeOf<T>;
    else if constexpr (std::default_initializable<T>)
        return &madeOfNothing<T>;
    else
        return nullptr;
}

template <class T, class Result, class... Arg>
Ptr<PtrInterface> callCreator(Result (*creator)(Arg...), std::span<Value const> args) {
    if (args.size() != sizeof...(Arg))
        otherArgumentCount(T::_zelType, sizeof...(Arg), args.size());
    return [&]<std::size_t... at>(std::index_sequence<at...>)->Ptr<PtrInterface> {
        [[maybe_unused]] const auto what = [] {
            return String(T::_zelType.name()).merge(" is constructed from a value");
        };
        // All of them first, in their order.
        std::tuple<std::remove_cvref_t<Arg>...> taken{
            valueAs<std::remove_cvref_t<Arg>>(args[at], what)...};
        return creator(std::move(std::get<at>(taken))...);
    }
    (std::index_sequence_for<Arg...>{});
}

template <class T, auto creator> Ptr<PtrInterface> construct(std::span<Value const> args) {
    return callCreator<T>(creator, args);
}

template <class T, auto creator> consteval auto constructorOf() {
    using Construct = Ptr<PtrInterface> (*)(std::span<Value const>);
    if constexpr (std::is_null_pointer_v<decltype(creator)>)
        return Construct{nullptr};
    else
        return Construct{&construct<T, creator>};
}

template <class T, auto creator>
inline constexpr GenericIf genericIfOf{
    &attributeOpOf<T>, &iteratorOf<T>,   constructorOf<T, creator>(),
    &fwkKeyOf<T>,      keyViewerOf<T>(), &keyInfoOf<T>};

} // namespace detail

/// The type node of class T, with the attributes that it declares and the generic attribute
/// interface:
///
///     constinit Zel::TypeNode const IntxInfo::_zelType =
///         Zel::typeNodeOf<IntxInfo>("Varnol::IntxInfo");
///
/// @tparam creator  the function that makes an object from its constructor's arguments; entities
///                  and reactors need not name theirs
template <class T, auto creator = detail::creatorOf<T>()>
constexpr TypeNode typeNodeOf(std::string_view name) noexcept {
    return TypeNode(name, attributeTable<T>, &detail::genericIfOf<T, creator>);
}

} // namespace Zel
