#include "platform/stp/RstpBpduFlags.h"

#include "framework/zel/Trace.h"

namespace Stp {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, RstpBpduFlags flags) {
    constexpr const char* roles[] = {"unknown", "alternateOrBackup", "root", "designated"};
    stream << unsigned{flags.value()} << "(" << roles[static_cast<unsigned>(flags.portRole())];
    if (flags.topologyChange())
        stream << " topologyChange";
    if (flags.proposal())
        stream << " proposal";
    if (flags.learning())
        stream << " learning";
    if (flags.forwarding())
        stream << " forwarding";
    if (flags.agreement())
        stream << " agreement";
    if (flags.topologyChangeAck())
        stream << " topologyChangeAck";
    return stream << ")";
}

} // namespace Stp
