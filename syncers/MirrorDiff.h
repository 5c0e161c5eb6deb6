#pragma once

#include "framework/zel/Diff.h"

/// What is different between the two trees that a syncer binds, of what the syncer makes equal. The
/// source is the left side, the destination the right one.
///
/// The trees are compared as they are; nothing is written. Nothing is different while one of the
/// two is null. Each throws std::bad_alloc.
namespace Varnol {

class IntxInfoSyncer;
class RxMstPortStatusToRxDynamicSyncer;
class RxMstStatusToRxDynamicSyncer;
class RxStatusToRxDynamicSyncer;
class TxStatusToRxSyncer;
class TxStatusToTxSyncer;

/// Everything that the trees hold.
VARNOL_API Zel::Differences mirrorDiff(TxStatusToTxSyncer const& syncer);

/// Everything that the records hold but their VLANs, which are not mirrored.
VARNOL_API Zel::Differences mirrorDiff(IntxInfoSyncer const& syncer);

/// The MST names and interfaces, under the names that they have in the receive tree.
VARNOL_API Zel::Differences mirrorDiff(TxStatusToRxSyncer const& syncer);

/// What the receive syncers copy: the scalars of the root and those of each interface; and for each
/// VLAN the record, which is expected in the destination exactly when the source has the record and
/// an update count that is not 0, and is equal in all fields and has an update count then.
///
/// MST names and interfaces that the destination lacks are missing; those that only it has are not
/// the syncer's business.
VARNOL_API Zel::Differences mirrorDiff(RxStatusToRxDynamicSyncer const& syncer);
/// The same for one MST name; paths begin at the root of the dynamic tree.
VARNOL_API Zel::Differences mirrorDiff(RxMstStatusToRxDynamicSyncer const& syncer);
/// The same for one interface.
VARNOL_API Zel::Differences mirrorDiff(RxMstPortStatusToRxDynamicSyncer const& syncer);

} // namespace Varnol
