#pragma once

#include "framework/zel/Int.h"

#include <array>
#include <cstddef>
#include <random>
#include <span>
#include <vector>

/// Frames as octets, for the tests of what is received. Nothing here is made by the code under
/// test, nor by the library.
namespace Frames {

using Zel::U16;
using Zel::U32;
using Zel::U8;
/// Octets in a block of their own, so that a sanitizer sees one read beyond them.
using Octets = std::vector<U8>;

inline constexpr std::array<U8, 35> configuration{
    0x00, 0x00,                                     // Protocol Identifier
    0x00,                                           // Protocol Version Identifier
    0x00,                                           // BPDU Type: configuration
    0x81,                                           // Flags: topology change and its ack
    0x20, 0x01, 0x00, 0x1c, 0x73, 0x11, 0x12, 0x13, // Root Identifier: 8192, 1
    0x00, 0x00, 0x4e, 0x20,                         // Root Path Cost 20000
    0x90, 0x02, 0x00, 0x1c, 0x73, 0x14, 0x15, 0x16, // Bridge Identifier: 36864, 2
    0x40, 0x07,                                     // Port Identifier: 64, 7
    0x01, 0x80,                                     // Message Age 1.5 s
    0x13, 0x00,                                     // Max Age 19 s
    0x03, 0x00,                                     // Hello Time 3 s
    0x10, 0x40,                                     // Forward Delay 16.25 s
};

inline constexpr std::array<U8, 4> notification{
    0x00, 0x00, // Protocol Identifier
    0x00,       // Protocol Version Identifier
    0x80,       // BPDU Type: TCN
};

inline constexpr std::array<U8, 36> rst{
    0x00, 0x00,                                     // Protocol Identifier
    0x02,                                           // Protocol Version Identifier: RSTP
    0x02,                                           // BPDU Type: RST
    0x3c,                                           // Flags: designated, learning, forwarding
    0x10, 0x05, 0x00, 0x1c, 0x73, 0x01, 0x02, 0x03, // Root Identifier: 4096, 5
    0x00, 0x03, 0x0d, 0x40,                         // Root Path Cost 200000
    0x80, 0x06, 0x00, 0x1c, 0x73, 0x0a, 0x0b, 0x0c, // Bridge Identifier: 32768, 6
    0x80, 0x03,                                     // Port Identifier: 128, 3
    0x01, 0x00,                                     // Message Age 1 s
    0x14, 0x00,                                     // Max Age 20 s
    0x02, 0x80,                                     // Hello Time 2.5 s
    0x0f, 0x00,                                     // Forward Delay 15 s
    0x00,                                           // Version 1 Length
};

/// Without MSTI records.
inline constexpr std::array<U8, 102> mst{
    0x00, 0x00,                                     // Protocol Identifier
    0x03,                                           // Protocol Version Identifier: MSTP
    0x02,                                           // BPDU Type: RST
    0x7c,                                           // CIST Flags: designated .. agreement
    0x10, 0x00, 0x00, 0x1c, 0x73, 0x21, 0x22, 0x23, // CIST Root Identifier: 4096, 0
    0x00, 0x01, 0x86, 0xa0,                         // CIST External Path Cost 100000
    0x30, 0x00, 0x00, 0x1c, 0x73, 0x24, 0x25, 0x26, // CIST Regional Root Identifier: 12288, 0
    0x20, 0x0a,                                     // CIST Port Identifier: 32, 10
    0x02, 0x00,                                     // Message Age 2 s
    0x15, 0x00,                                     // Max Age 21 s
    0x02, 0x00,                                     // Hello Time 2 s
    0x0e, 0x00,                                     // Forward Delay 14 s
    0x00,                                           // Version 1 Length
    0x00, 0x40,                                     // Version 3 Length 64
    0x00,                                           // Configuration Identifier Format Selector
    'r',  'e',  'g',  'i',  'o',  'n',  '-',  '1',  // Configuration Name
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // ..
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // ..
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // ..
    0x12, 0x34,                                     // Revision Level 4660
    0xac, 0x36, 0x17, 0x7f, 0x50, 0x28, 0x3c, 0xd4, // Configuration Digest
    0xb8, 0x38, 0x21, 0xd8, 0xab, 0x26, 0xde, 0x62, // ..
    0x00, 0x00, 0x07, 0xd0,                         // CIST Internal Root Path Cost 2000
    0x50, 0x00, 0x00, 0x1c, 0x73, 0x27, 0x28, 0x29, // CIST Bridge Identifier: 20480, 0
    0x13,                                           // CIST Remaining Hops 19
};

inline constexpr std::array<U8, 16> msti{
    0x8e,                                           // MSTI Flags: proposal, designated, master
    0x60, 0x0b, 0x00, 0x1c, 0x73, 0x31, 0x32, 0x33, // MSTI Regional Root Identifier: 24576, 11
    0x00, 0x00, 0x0b, 0xb8,                         // MSTI Internal Root Path Cost 3000
    0x70,                                           // MSTI Bridge Priority 28672
    0xe0,                                           // MSTI Port Priority 224
    0x12,                                           // MSTI Remaining Hops 18
};

/// One after the other.
Octets joined(std::span<U8 const> first, std::span<U8 const> second);

/// The frame of a BPDU, its length field right. Requires: at most 1497 octets.
Octets frame(std::span<U8 const> bpdu);

/// Writes a number, most significant octet first.
void put16(Octets& octets, std::size_t at, U32 number);
/// The same frame with another length field.
Octets withLength(Octets octets, U32 length);
/// The same with one octet changed.
Octets with(Octets octets, std::size_t at, unsigned value);

/// The record of an MSTI, each field of which follows from its instance.
std::array<U8, 16> mstiOf(U16 instance);

/// An MST BPDU with records of these MSTIs, its Version 3 Length right.
Octets mstWith(std::span<U16 const> instances);
/// With as many, of the MSTIs from 1 on.
Octets mstWith(std::size_t records);

/// A frame of any kind of BPDU with any number of changes, few or none mostly: in octets that
/// decide whether it is taken, in its length, and anywhere.
Octets changed(std::mt19937& engine);

} // namespace Frames
