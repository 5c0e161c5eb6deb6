#pragma once

#include "framework/zel/Int.h"
#include "framework/zel/Name.h"
#include "framework/zel/Ptr.h"
#include "framework/zel/PtrInterface.h"
#include "framework/zel/Trace.h"

#include <cmath>
#include <concepts>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

namespace Zel {

class Value;

namespace detail {

/// What a Value does with a value of one type.
struct ValueType {
    std::type_info const* type;
    bool (*equal)(void const* left, void const* right);
    bool (*less)(void const* left, void const* right);
    bool (*zero)(void const* value);
    void (*text)(TraceStream& stream, void const* value);
    void (*json)(TraceStream& stream, void const* value);
};

template <class T> struct PointedTo {};
template <class T> struct PointedTo<Ptr<T>> { using type = T; };

template <class T>
concept CountedPointer = requires {
    typename PointedTo<T>::type;
};

/// A value type that stands for a number.
template <class T>
concept NumberLike = !std::is_arithmetic_v<T> && requires(T const& number) {
    { number.value() } -> std::unsigned_integral;
};

VARNOL_API void signedText(TraceStream& stream, long long number);
VARNOL_API void doubleJson(TraceStream& stream, double number);

template <class T> void valueText(TraceStream& stream, T const& value) {
    if constexpr (requires { value.shortName(); })
        stream << value.shortName();
    else if constexpr (std::same_as<T, Name>)
        stream << value.view();
    else if constexpr (std::same_as<T, float>)
        stream << double{value};
    else if constexpr (std::unsigned_integral<T> && !std::same_as<T, bool>)
        stream << U64{value};
    else if constexpr (std::signed_integral<T>)
        signedText(stream, value);
    else
        stream << value;
}

} // namespace detail

/// Writes a text as a JSON string, in quotes and escaped. Octets that are not UTF-8 appear as the
/// replacement character, U+FFFD.
VARNOL_API void jsonString(TraceStream& stream, std::string_view text);

/// A value of any of the types that attributes and their keys have, or none: the framework's value,
/// by which attributes are read and written without their class being known.
///
/// Values are compared, ordered and printed by their own type's means; those of different types are
/// unequal. A copy shares the value. A pointer to an object is a value too: it holds a reference,
/// and knows whether the object may be written. Making a value allocates.
///
/// The text of a value is that of its stream output, an interface's is its short name, and an
/// object's is its class and its key, as "Varnol::IntxInfo[100]", or "null".
class VARNOL_API Value {
  public:
    /// None.
    Value() noexcept = default;
    /// Throws std::bad_alloc.
    template <class T>
    requires(!std::same_as<T, Value> && !detail::CountedPointer<T>) explicit Value(T const& value)
        : type_(&typeOf<T>)
        , held_(std::make_shared<T const>(value)) {}
    /// A pointer to an object that may be written unless T is const; may be null.
    template <class T>
    explicit Value(Ptr<T> const& object) noexcept
        : type_(&objectType)
        , object_(object)
        , writable_(!std::is_const_v<T>) {}

    /// Whether there is none.
    bool none() const noexcept { return type_ == nullptr; }
    /// Whether it is a pointer to an object, null too.
    bool isObject() const noexcept { return type_ == &objectType; }

    /// The value, if it is of type T and no other, without regard to conversions; else null.
    template <class T> T const* as() const noexcept {
        return type_ && *type_->type == typeid(T) ? static_cast<T const*>(held_.get()) : nullptr;
    }
    /// The object; null when the value is no pointer to an object, or a null one.
    Ptr<PtrInterface const> const& object() const noexcept { return object_; }
    /// The object, to be written; null also where it may only be read.
    Ptr<PtrInterface> writableObject() const noexcept {
        return Ptr<PtrInterface>(writable_ ? const_cast<PtrInterface*>(object_.ptr()) : nullptr);
    }
    /// Whether the value is a pointer that Ptr<T> can be, `to` being set to it then: null, or to an
    /// object of class T itself that may be written unless T is const.
    template <class T> bool pointerTo(Ptr<T>& to) const noexcept {
        using Class = std::remove_const_t<T>;
        if (!isObject())
            return false;
        if constexpr (!std::is_const_v<T>) {
            if (object_ && !writable_)
                return false;
        }
        if (object_ && !isOf(Class::_zelType))
            return false;
        to = Ptr<T>(static_cast<T*>(const_cast<PtrInterface*>(object_.ptr())));
        return true;
    }

    /// Whether the value is the zero value of its type; a null pointer is, none is not.
    bool isZero() const;

    /// What the value is, for messages: the name of its type, the class of its object, "nothing".
    String typeText() const;
    /// Empty for none.
    std::string text() const;
    /// The value in JSON: numbers (also the value types that are a number with a meaning of its
    /// own) and booleans as such, a null pointer and none as null, all else as the text. Numbers
    /// that JSON has none of, infinite ones, are texts too.
    void jsonTo(TraceStream& stream) const;

    /// Equal types and equal values; two values that are not a number are equal. Objects are equal
    /// where they are the same one.
    friend VARNOL_API bool operator==(Value const& left, Value const& right);
    /// An order for the keys of one collection: that of their type, or of their texts if it has
    /// none.
    friend VARNOL_API bool operator<(Value const& left, Value const& right);
    /// As text() has it.
    friend VARNOL_API TraceStream& operator<<(TraceStream& stream, Value const& value);

  private:
    template <class T> static detail::ValueType const typeOf;
    static detail::ValueType const objectType;

    bool isOf(TypeNode const& type) const noexcept { return object_->fwkType() == &type; }

    detail::ValueType const* type_ = nullptr;
    std::shared_ptr<void const> held_;
    Ptr<PtrInterface const> object_;
    bool writable_ = false;
};

namespace detail {

/// What a Value does with a T.
template <class T> constexpr ValueType valueType() {
    return {
        &typeid(T),
        [](void const* left, void const* right) {
            T const& a = *static_cast<T const*>(left);
            T const& b = *static_cast<T const*>(right);
            if constexpr (std::floating_point<T>)
                return a == b || (std::isnan(a) && std::isnan(b));
            else
                return a == b;
        },
        [](void const* left, void const* right) {
            T const& a = *static_cast<T const*>(left);
            T const& b = *static_cast<T const*>(right);
            if constexpr (requires { a < b; }) {
                return a < b;
            } else {
                TraceStream textOfA;
                TraceStream textOfB;
                valueText(textOfA, a);
                valueText(textOfB, b);
                return textOfA.text() < textOfB.text();
            }
        },
        [](void const* value) {
            if constexpr (std::default_initializable<T>)
                return *static_cast<T const*>(value) == T{};
            else
                return false;
        },
        [](TraceStream& stream, void const* value) {
            valueText(stream, *static_cast<T const*>(value));
        },
        [](TraceStream& stream, void const* held) {
            T const& value = *static_cast<T const*>(held);
            if constexpr (NumberLike<T>) {
                stream << U64{value.value()};
            } else if constexpr (std::floating_point<T>) {
                doubleJson(stream, value);
            } else if constexpr (std::is_arithmetic_v<T>) {
                valueText(stream, value);
            } else {
                TraceStream text;
                valueText(text, value);
                jsonString(stream, text.text());
            }
        },
    };
}

} // namespace detail

template <class T> inline constexpr detail::ValueType Value::typeOf = detail::valueType<T>();

} // namespace Zel
