#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace Zel {

/// The numbers of one class.
struct ClassCensus {
    /// The qualified name, as "Varnol::IntxInfo".
    std::string_view name;
    /// Objects alive now; exact, whichever threads made them.
    U64 live;
    /// Octets of one object; 0 before the first was made.
    std::size_t objectSize;
    /// Writes into destinations that reactors and syncers of the class have made. Those that two
    /// threads make at the same time may be counted as one.
    U64 writes;
};

/// What the framework counts in this process. May be taken at any time, from any thread.
struct Census {
    /// All registered classes, packets too, sorted by name.
    std::vector<ClassCensus> classes;
    /// Notifications that reactors have taken. Those that two threads deliver at the same time may
    /// be counted as one.
    U64 notificationsDelivered = 0;

    ///@{
    /// The sums over all classes.
    U64 live() const noexcept;
    U64 writes() const noexcept;
    ///@}
    /// The class of that name; all zero, without a name, when there is none.
    ClassCensus of(std::string_view name) const noexcept;
};

/// Throws std::bad_alloc.
VARNOL_API Census census();

inline U64 Census::live() const noexcept {
    U64 sum = 0;
    for (ClassCensus const& each : classes)
        sum += each.live;
    return sum;
}

inline U64 Census::writes() const noexcept {
    U64 sum = 0;
    for (ClassCensus const& each : classes)
        sum += each.writes;
    return sum;
}

inline ClassCensus Census::of(std::string_view name) const noexcept {
    for (ClassCensus const& each : classes) {
        if (each.name == name)
            return each;
    }
    return {};
}

} // namespace Zel
