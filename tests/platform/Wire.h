#pragma once

#include "framework/zel/Int.h"

#include <array>
#include <vector>

/// The octets that a value has in a BPDU.
template <class V> std::vector<unsigned> wireOf(V const& value) {
    std::array<Zel::U8, V::wireOctets> octets;
    octets.fill(0xaa);
    value.encode(octets);
    return {octets.begin(), octets.end()};
}

/// The value that has these octets in a BPDU.
template <class V> V fromWire(std::array<Zel::U8, V::wireOctets> const& octets) {
    return V::decode(octets);
}

using Octets = std::vector<unsigned>;
