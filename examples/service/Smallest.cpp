#include "bpdu/VarnolUtils.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <cstdio>

int main() {
    const Varnol::TxStatus::Ptr service(new Varnol::TxStatus), sending(new Varnol::TxStatus);
    const auto mirror = Varnol::txStatusToTxSyncerFactory(service, sending);

    // The service says what is to be sent on Ethernet1; the mirror writes it to the other tree.
    const auto et1 = Kolvu::IntfId::ethernet(1);
    const auto record = service->txMstStatusIs("mst1")->txMstPortStatusIs(et1)->txInfoIs(0);
    record->stpVersionIs(Stp::StpBpduVersion::rstp);
    record->mstiNIs(0)->flagsIs(Stp::RstpBpduFlags(0x3c));

    // The sending side makes a frame of what it finds there, ready for a packet socket.
    const Stp::Port::Ptr port(new Stp::Port);
    port->ethAddrIs(Kolvu::EthAddr{0x02, 0, 0, 0, 0, 0x0a});
    const auto mirrored = sending->txMstStatus("mst1")->txMstPortStatus(et1)->txInfo(0);
    const Stp::MstPortSm::Ptr machine(new Stp::MstPortSm(port));
    const auto frame = Varnol::generatePktFromIntxInfo(machine, mirrored, false);
    for (unsigned n = 0; const unsigned octet : frame->data())
        std::printf("%02x%c", octet, ++n % 16 == 0 || n == frame->data().size() ? '\n' : ' ');
}
