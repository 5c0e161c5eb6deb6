#include "examples/bridge/BpduRecord.h"

namespace Examples {

void recordBpdu(Varnol::IntxInfo::Ptr const& record, Stp::RstpBpduView bpdu) {
    record->neighborAddrIs(bpdu.bridgeId().address());
    record->stpVersionIs(bpdu.version());
    record->intxInfoTypeIs(bpdu.type());
    const auto cist = record->mstiNIs(0);
    cist->flagsIs(bpdu.rstpFlags());
    cist->bridgeIdIs(bpdu.bridgeId());
    cist->portIdIs(bpdu.portId());
    cist->cistRootBridgeIdIs(bpdu.rootId());
    cist->cistExtRootPathCostIs(bpdu.rootPathCost());
    cist->messageAgeIs(bpdu.messageAge());
    cist->maxAgeIs(bpdu.maxAge());
    cist->helloTimeIs(bpdu.helloTime());
    cist->fwdDelayIs(bpdu.fwdDelay());
}

} // namespace Examples
