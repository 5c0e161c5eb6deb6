#include "platform/kolvu/NetInt.h"

#include "framework/zel/Trace.h"

namespace Kolvu {

void traceNumber(Zel::TraceStream& stream, U32 number) { stream << number; }

} // namespace Kolvu
