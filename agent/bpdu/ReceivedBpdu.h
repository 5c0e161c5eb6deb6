#pragma once

#include "platform/kolvu/EthAddr.h"
#include "platform/stp/BridgeId.h"
#include "platform/stp/BridgeSystemId.h"
#include "platform/stp/CompressedBridgePriority.h"
#include "platform/stp/CompressedPortPriority.h"
#include "platform/stp/MstpConfigDigest.h"
#include "platform/stp/PathCost.h"
#include "platform/stp/PortId.h"
#include "platform/stp/RstpBpduFlags.h"
#include "platform/stp/StpBpduType.h"
#include "platform/stp/StpBpduVersion.h"
#include "platform/stp/TimerVal.h"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace Agent {

/// What a BPDU is taken as, IEEE 802.1Q-2014 14.5. Its version and type do not tell: a BPDU of
/// version 3 that is no whole MST BPDU is an RST BPDU.
enum class BpduKind : Zel::U8 { configuration, topologyChangeNotification, rst, mst };

/// As "configuration", "tcn", "rst", "mst".
constexpr std::string_view name(BpduKind kind) noexcept {
    switch (kind) {
    case BpduKind::configuration:
        return "configuration";
    case BpduKind::topologyChangeNotification:
        return "tcn";
    case BpduKind::rst:
        return "rst";
    case BpduKind::mst:
        return "mst";
    }
    return {};
}

/// An MST configuration identifier, IEEE 802.1Q-2014 13.8: bridges with equal ones are of one
/// region.
struct MstConfigurationId {
    Zel::U8 formatSelector = 0; ///< 0 for what the standard describes
    /// Filled up with zero octets. The sender's: any octets, UTF-8 or not.
    std::array<Zel::U8, 32> name{};
    Zel::U16 revisionLevel = 0;
    Stp::MstpConfigDigest digest;

    /// The name without the zero octets at its end; valid as long as this object.
    std::string_view nameText() const noexcept;

    friend bool operator==(MstConfigurationId const&, MstConfigurationId const&) = default;
};

/// What an MST BPDU says of one MSTI, IEEE 802.1Q-2014 14.4.1.
struct MstiRecord {
    Stp::RstpBpduFlags flags; ///< bit 8 is the MSTI's master flag
    Stp::BridgeId regionalRootId;
    Stp::PathCost internalRootPathCost;
    Stp::CompressedBridgePriority bridgePriority; ///< of the transmitting bridge, in this MSTI
    Stp::CompressedPortPriority portPriority;     ///< of the transmitting port, in this MSTI
    Zel::U8 remainingHops = 0;

    /// The MSTI, 0 to 4095: the regional root's system ID extension. 0 names none.
    constexpr Stp::BridgeSystemId instance() const noexcept {
        return regionalRootId.systemIdExtension();
    }

    friend bool operator==(MstiRecord const&, MstiRecord const&) = default;
};

/// What a frame said. A value: it owns nothing and refers to nothing. What its kind of BPDU does
/// not say is zero.
struct ReceivedBpdu {
    static constexpr std::size_t maxMstis = 64; ///< IEEE 802.1Q-2014 14.4

    // Every kind.
    BpduKind kind = BpduKind::configuration;
    Kolvu::EthAddr source;       ///< the frame's source address, that of the neighbour's port
    Stp::StpBpduVersion version; ///< as sent; any for configuration BPDUs and notifications
    Stp::StpBpduType type;       ///< as sent

    // Configuration, RST and MST BPDUs.
    Stp::RstpBpduFlags flags;   ///< a configuration BPDU has bits 1 and 8 only, and all are kept
    Stp::BridgeId rootId;       ///< the CIST root in an MST BPDU
    Stp::PathCost rootPathCost; ///< the external one in an MST BPDU
    /// The transmitting bridge: Bridge Identifier, or CIST Bridge Identifier in an MST BPDU.
    Stp::BridgeId bridgeId;
    Stp::PortId portId; ///< the transmitting port
    Stp::TimerVal messageAge;
    Stp::TimerVal maxAge;
    Stp::TimerVal helloTime;
    Stp::TimerVal fwdDelay;

    // MST BPDUs.
    Stp::BridgeId regionalRootId; ///< of the CIST
    MstConfigurationId configurationId;
    Stp::PathCost internalRootPathCost; ///< of the CIST
    Zel::U8 remainingHops = 0;          ///< of the CIST
    Zel::U8 mstiCount = 0;              ///< at most maxMstis
    /// In the order of the frame; all zero from mstiCount on. Nothing keeps a sender from naming an
    /// MSTI twice, or none.
    std::array<MstiRecord, maxMstis> mstiRecords{};

    /// The records that the BPDU has; valid as long as this object.
    constexpr std::span<MstiRecord const> mstis() const noexcept {
        return std::span(mstiRecords).first(mstiCount);
    }

    friend bool operator==(ReceivedBpdu const&, ReceivedBpdu const&) = default;
};

} // namespace Agent
