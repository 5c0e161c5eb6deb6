#include "platform/interface/IntfLoggingMode.h"

#include "framework/zel/Trace.h"

namespace Interface {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntfLoggingMode mode) {
    switch (mode) {
    case IntfLoggingMode::on:
        return stream << "on";
    case IntfLoggingMode::off:
        return stream << "off";
    case IntfLoggingMode::useDefault:
        return stream << "useDefault";
    }
    return stream << static_cast<Zel::U32>(mode);
}

} // namespace Interface
