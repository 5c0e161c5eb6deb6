#pragma once

#include "bpdu/VarnolUtils.h"
#include "examples/bridge/Capture.h"
#include "platform/stp/RstpBpdu.h"

namespace Examples::Test {

/// What a bridge offers to another one through a designated port: a root, and a way to it.
struct Offer {
    Kolvu::EthAddr bridge{0x02, 0, 0, 0, 0, 0x0a};
    Stp::BridgeId root{4096, 0, {0x02, 0, 0, 0, 0, 0x01}};
    Stp::PathCost rootPathCost = 1000;
    bool proposal = true;
};

/// The frame that the library makes of a record.
/// @param source  address of the port that sends it
Frame frameOf(Varnol::IntxInfo::Ptr const& info, Kolvu::EthAddr const& source);
Frame frameOf(Offer const& offer);

/// A record with all that a BPDU says.
Varnol::IntxInfo::Ptr recordOf(Stp::RstpBpduView bpdu);

} // namespace Examples::Test
