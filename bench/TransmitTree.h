#pragma once

#include "bench/Values.h"
#include "model/TxStatus.h"

#include <string>

namespace Bench {

/// Where the records stand in a tree of many: one MST name, 16 VLANs on each port, and on each VLAN
/// a record with the CIST's entry.
struct Shape {
    static constexpr const char* mstName = "mst1";
    unsigned vlansPerPort = 16;

    Kolvu::IntfId port(unsigned record) const {
        const unsigned port = record / vlansPerPort;
        return Kolvu::IntfId::ethernet(static_cast<U8>(1 + port / 4096),
                                       static_cast<U16>(port % 4096));
    }
    U16 vlan(unsigned record) const { return static_cast<U16>(record % vlansPerPort); }
};

struct PortHash {
    std::size_t operator()(Kolvu::IntfId port) const noexcept { return port.hash(); }
};

/// Such a tree of the library's, filled.
inline Varnol::TxStatus::Ptr transmitTree(unsigned records, Shape shape = {}) {
    const Varnol::TxStatus::Ptr tree(new Varnol::TxStatus);
    const auto mst = tree->txMstStatusIs(Shape::mstName);
    for (unsigned i = 0; i < records; ++i) {
        const auto port = mst->txMstPortStatusIs(shape.port(i));
        const auto record = port->txInfoIs(shape.vlan(i));
        fill(*record, recordValues(i));
        fill(*record->mstiNIs(0), entryValues(i));
    }
    return tree;
}

/// The i-th record of a tree of the library's; null when there is none.
inline Varnol::IntxInfo::Ptr record(Varnol::TxStatus& tree, unsigned i) {
    const auto mst = tree.txMstStatus(Shape::mstName);
    const auto port = mst ? mst->txMstPortStatus(Shape().port(i)) : nullptr;
    return port ? port->txInfo(Shape().vlan(i)) : nullptr;
}

/// What such a tree holds, in the order of the records, for comparing results.
inline std::string text(Varnol::TxStatus& tree, unsigned records) {
    std::string all;
    for (unsigned i = 0; i < records; ++i) {
        if (const auto found = record(tree, i))
            all += text(*found) + "\n";
    }
    return all;
}

} // namespace Bench
