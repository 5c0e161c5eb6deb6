#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/String.h"

#include <compare>
#include <string_view>

namespace Zel {
class TraceStream;
}

namespace Kolvu {

using Zel::U16;
using Zel::U32;
using Zel::U8;

/// Identifies an interface of the switch: its kind, and its number within the kind. By default it
/// identifies none. Ordered by kind, module and port.
class IntfId {
  public:
    /// What is numbered.
    enum class Kind : U8 {
        none,
        ethernet,    ///< "Et1" or, in a chassis, "Et3/1"
        portChannel, ///< "Po1": a link aggregation group
    };

    constexpr IntfId() noexcept = default;
    /// An Ethernet interface of a switch without modules, as "Et1".
    static constexpr IntfId ethernet(U16 port) noexcept { return {Kind::ethernet, 0, port}; }
    /// @param module  slot of the chassis, from 1; 0 for a switch that has none
    static constexpr IntfId ethernet(U8 module, U16 port) noexcept {
        return {Kind::ethernet, module, port};
    }
    /// A link aggregation group, as "Po10".
    static constexpr IntfId portChannel(U16 number) noexcept {
        return {Kind::portChannel, 0, number};
    }
    /// From a short or a full name, in the spelling of shortName() and of stream output. Throws
    /// Zel::RangeException for any other text.
    VARNOL_API static IntfId parse(std::string_view text);

    /// Kind::none by default.
    constexpr Kind kind() const noexcept { return kind_; }
    /// 0 when the interface is not in a module.
    constexpr U8 module() const noexcept { return module_; }
    /// The number within the kind, and of an Ethernet interface in the module.
    constexpr U16 port() const noexcept { return port_; }
    /// As "Et1", "Et3/1", "Po10"; empty for none.
    VARNOL_API Zel::String shortName() const;
    /// All of it as one number: the kind, the module and the port, in 8, 8 and 16 bits.
    constexpr U32 value() const noexcept {
        return static_cast<U32>(kind_) << 24 | static_cast<U32>(module_) << 16 | port_;
    }
    constexpr U32 hash() const noexcept { return value(); }

    friend constexpr bool operator==(IntfId, IntfId) noexcept = default;
    friend constexpr auto operator<=>(IntfId, IntfId) noexcept = default;
    /// The full name, as "Ethernet1", "Ethernet3/1", "Port-Channel10"; nothing for none.
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntfId id);

  private:
    constexpr IntfId(Kind kind, U8 module, U16 port) noexcept
        : kind_(kind)
        , module_(module)
        , port_(port) {}

    Kind kind_ = Kind::none;
    U8 module_ = 0;
    U16 port_ = 0;
};

} // namespace Kolvu
