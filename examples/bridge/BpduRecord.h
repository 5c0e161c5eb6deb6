#pragma once

#include "model/IntxInfo.h"
#include "platform/stp/RstpBpdu.h"

namespace Examples {

/// Writes what a received RST BPDU says into a record, as a receiver does: the record's version and
/// type, and the priority vector, timers and flags of its entry of the CIST, which is made when it
/// is not there. The neighbour is the bridge that the BPDU names.
void recordBpdu(Varnol::IntxInfo::Ptr const& record, Stp::RstpBpduView bpdu);

} // namespace Examples
