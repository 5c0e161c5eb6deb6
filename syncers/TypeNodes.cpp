#include "framework/zel/TypeNodeOf.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"

/// The type nodes of all syncers, away from the handlers: what is generated for them is large, and
/// would change how the compiler lays the handlers out. Each source file registers its own.
namespace Varnol {

constinit Zel::TypeNode const IntxInfoSyncer::_zelType =
    Zel::typeNodeOf<IntxInfoSyncer, &IntxInfoSyncer::IntxInfoSyncerIs>("Varnol::IntxInfoSyncer");
constinit Zel::TypeNode const IntxInfoSyncer::ZelSource::_zelType =
    Zel::typeNodeOf<ZelSource>("Varnol::IntxInfoSyncer::ZelSource");
constinit Zel::TypeNode const IntxInfoSyncer::ZelMstiNSm::_zelType =
    Zel::typeNodeOf<ZelMstiNSm>("Varnol::IntxInfoSyncer::ZelMstiNSm");
constinit Zel::TypeNode const TxStatusToTxSyncer::_zelType =
    Zel::typeNodeOf<TxStatusToTxSyncer, &TxStatusToTxSyncer::TxStatusToTxSyncerIs>(
        "Varnol::TxStatusToTxSyncer");
constinit Zel::TypeNode const TxStatusToTxSyncer::ZelSource::_zelType =
    Zel::typeNodeOf<ZelSource>("Varnol::TxStatusToTxSyncer::ZelSource");
constinit Zel::TypeNode const TxStatusToTxSyncer::ZelTxMstStatusSm::_zelType =
    Zel::typeNodeOf<ZelTxMstStatusSm>("Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm");
constinit Zel::TypeNode const TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm::_zelType =
    Zel::typeNodeOf<ZelTxMstPortStatusSm>(
        "Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm");
constinit Zel::TypeNode const TxStatusToRxSyncer::_zelType =
    Zel::typeNodeOf<TxStatusToRxSyncer, &TxStatusToRxSyncer::TxStatusToRxSyncerIs>(
        "Varnol::TxStatusToRxSyncer");
constinit Zel::TypeNode const TxStatusToRxSyncer::ZelSource::_zelType =
    Zel::typeNodeOf<ZelSource>("Varnol::TxStatusToRxSyncer::ZelSource");
constinit Zel::TypeNode const TxStatusToRxSyncer::ZelTxMstStatusSm::_zelType =
    Zel::typeNodeOf<ZelTxMstStatusSm>("Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm");

constinit Zel::TypeNode const RxStatusToRxDynamicSyncer::_zelType =
    Zel::typeNodeOf<RxStatusToRxDynamicSyncer,
                    &RxStatusToRxDynamicSyncer::RxStatusToRxDynamicSyncerIs>(
        "Varnol::RxStatusToRxDynamicSyncer");
constinit Zel::TypeNode const RxStatusToRxDynamicSyncer::ZelSource::_zelType =
    Zel::typeNodeOf<ZelSource>("Varnol::RxStatusToRxDynamicSyncer::ZelSource");
constinit Zel::TypeNode const RxMstStatusToRxDynamicSyncer::_zelType =
    Zel::typeNodeOf<RxMstStatusToRxDynamicSyncer,
                    &RxMstStatusToRxDynamicSyncer::RxMstStatusToRxDynamicSyncerIs>(
        "Varnol::RxMstStatusToRxDynamicSyncer");
constinit Zel::TypeNode const RxMstStatusToRxDynamicSyncer::ZelSource::_zelType =
    Zel::typeNodeOf<ZelSource>("Varnol::RxMstStatusToRxDynamicSyncer::ZelSource");
constinit Zel::TypeNode const RxMstPortStatusToRxDynamicSyncer::_zelType =
    Zel::typeNodeOf<RxMstPortStatusToRxDynamicSyncer,
                    &RxMstPortStatusToRxDynamicSyncer::RxMstPortStatusToRxDynamicSyncerIs>(
        "Varnol::RxMstPortStatusToRxDynamicSyncer");
constinit Zel::TypeNode const RxMstPortStatusToRxDynamicSyncer::ZelSource::_zelType =
    Zel::typeNodeOf<ZelSource>("Varnol::RxMstPortStatusToRxDynamicSyncer::ZelSource");

constinit Zel::TypeNode const IntxInfoChangeSm::_zelType =
    Zel::typeNodeOf<IntxInfoChangeSm, &IntxInfoChangeSm::IntxInfoChangeSmIs>(
        "Varnol::IntxInfoChangeSm");
constinit Zel::TypeNode const IntxInfoChangeSm::ZelIntxInfo::_zelType =
    Zel::typeNodeOf<ZelIntxInfo>("Varnol::IntxInfoChangeSm::ZelIntxInfo");
constinit Zel::TypeNode const IntxInfoChangeSm::ZelMstiN::_zelType =
    Zel::typeNodeOf<ZelMstiN>("Varnol::IntxInfoChangeSm::ZelMstiN");

} // namespace Varnol
