#pragma once

#include "platform/kolvu/NetInt.h"

#include <compare>

namespace Kolvu {

/// Base of the value types that are a number with a meaning of its own; zero by default.
///
/// Made from the number as it is, so that a literal may stand for the value and nothing is cut off
/// or checked; turned back only by value(), so that values of different meaning do not mix.
///
/// @tparam Self  the type derived from this one
/// @tparam T     at most 32 bits
template <class Self, std::unsigned_integral T> class Number {
  public:
    static constexpr std::size_t wireOctets = sizeof(T);

    constexpr Number() noexcept = default;
    /// Any number of T.
    constexpr Number(T value) noexcept
        : value_(value) {}

    /// The number as it was given.
    constexpr T value() const noexcept { return value_; }
    constexpr U32 hash() const noexcept { return value_; }

    friend constexpr bool operator==(Number, Number) noexcept = default;
    friend constexpr auto operator<=>(Number, Number) noexcept = default;
    friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, Number number) {
        traceNumber(stream, number.value_);
        return stream;
    }

    /// Most significant octet first.
    constexpr void encode(std::span<U8, wireOctets> to) const noexcept {
        NetInt<T>(value_).encode(to);
    }
    static constexpr Self decode(std::span<U8 const, wireOctets> from) noexcept {
        return Self(NetInt<T>::decode(from));
    }

  private:
    static_assert(sizeof(T) <= sizeof(U32));

    T value_ = 0;
};

} // namespace Kolvu
