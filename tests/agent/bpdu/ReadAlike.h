#pragma once

#include "tests/agent/bpdu/Frames.h"

#include <vector>

namespace Agent {

/// Fails the test unless tshark reads each of the frames, which the parser has to take, as the
/// parser does, in every field that a BPDU has.
void expectTsharkReadsAlike(std::vector<Frames::Octets> const& frames);

/// The same with tcpdump, in all that it prints of a frame, field by field. Of configuration and
/// RST BPDUs and notifications: tcpdump reads version 3 BPDUs by other rules.
void expectTcpdumpReadsAlike(std::vector<Frames::Octets> const& frames);

} // namespace Agent
