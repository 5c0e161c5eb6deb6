// A project of its own that uses the library: it mirrors an attribute, and makes a frame.

#include "bpdu/VarnolUtils.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <iostream>

int main() {
    const Varnol::TxStatus::Ptr source(new Varnol::TxStatus);
    const Varnol::TxStatus::Ptr dest(new Varnol::TxStatus);
    const auto syncer = Varnol::txStatusToTxSyncerFactory(source, dest);
    source->heartbeatTimeoutIs(2.5);
    std::cout << "heartbeatTimeout " << dest->heartbeatTimeout() << "\n";

    const Stp::Port::Ptr port(new Stp::Port);
    port->ethAddrIs(Kolvu::EthAddr{0x02, 0, 0, 0, 0, 0x0a});
    const Stp::MstPortSm::Ptr sm(new Stp::MstPortSm(port));
    const Varnol::IntxInfo::Ptr info(new Varnol::IntxInfo(0));
    info->stpVersionIs(2);
    info->mstiNIs(0)->flagsIs(0x0e);
    const auto frame = Varnol::generatePktFromIntxInfo(sm, info, false);
    std::cout << "frame of " << frame->data().size() << " octets, flags "
              << unsigned{frame->data()[21]} << "\n";
}
