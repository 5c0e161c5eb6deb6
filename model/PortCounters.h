#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"

namespace Zel {
class TraceStream;
}

namespace Varnol {

/// The BPDU counters of a port, each modulo 2^32. Copied whole, never field by field.
struct PortCounters {
    /// BPDUs that the port has sent.
    Zel::U32 sent = 0;
    /// BPDUs that the port has received.
    Zel::U32 received = 0;
    /// Received BPDUs that were tagged where none may be.
    Zel::U32 taggedErrors = 0;
    /// Received BPDUs with any other fault.
    Zel::U32 otherErrors = 0;
    /// Received BPDUs that the rate limit dropped.
    Zel::U32 rateLimited = 0;
    /// BPDUs that the BPDU filter kept back.
    Zel::U32 filtered = 0;

    friend bool operator==(PortCounters const&, PortCounters const&) noexcept = default;
    /// The six numbers in their order, with '/' between them.
    VARNOL_API friend Zel::TraceStream& operator<<(Zel::TraceStream& stream,
                                                   PortCounters const& counters);
};

} // namespace Varnol
