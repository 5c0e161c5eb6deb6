#pragma once

#include "agent/io/CaptureFile.h"
#include "agent/trees/Bridge.h"

namespace Agent {

/// Runs a bridge on a capture instead of interfaces: the port given hears every frame at the
/// frame's time, counted from the first one's, and hellos and ageing happen in between. Frames that
/// stand in the file out of order come when the one before them came; in a silence of more than a
/// minute no hellos are sent.
/// @param bridge  its times are those since the first frame
/// @param heard   takes the frames as well, unless null
/// @return the last frame's time
/// Throws std::runtime_error when the capture is broken; the frames before have been taken then.
Time replay(CaptureReader::Frame const& first, CaptureReader& rest, Bridge& bridge,
            Kolvu::IntfId port, CaptureWriter* heard);

} // namespace Agent
