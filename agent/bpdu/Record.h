#pragma once

#include "agent/bpdu/ReceivedBpdu.h"
#include "model/IntxInfo.h"

namespace Agent {

/// Makes a record say what a received BPDU says, and no more: every attribute is written, with zero
/// where the BPDU says nothing, and so is each entry; entries of instances that the BPDU does not
/// name are deleted last. The record keeps its VLAN, and takes the frame's source as its neighbour.
///
/// - The CIST's entry (0) takes the priority vector, timers and flags; a topology change
///   notification has none of them, and leaves the record without entries.
/// - An MSTI's entry takes the record's flags, regional root, internal root path cost and remaining
///   hops; its bridge and port are the CIST's with the record's priorities, and the MSTI as system
///   ID extension (IEEE 802.1Q-2014 14.4.1).
/// - Of two records of one MSTI the last counts. A record of instance 0, which is the CIST, is
///   no MSTI's, and left out.
///
/// Requires: the record is not null. Throws std::bad_alloc, before anything is written or between
/// two writes.
void recordBpdu(Varnol::IntxInfo::Ptr const& record, ReceivedBpdu const& bpdu);

} // namespace Agent
