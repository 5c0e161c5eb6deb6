#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Ptr.h"
#include "model/IntxInfo.h"

namespace Varnol {

/// Makes one BPDU information record equal to another, at once and without a reactor.
///
/// Every attribute of the record and of its entries is written, in the order of declaration and
/// without comparing first, so that each write notifies; entries that the source lacks are deleted
/// last. The destination keeps its VLAN key.
/// Requires: neither is null; assertions "src" and "dst".
VARNOL_API void copyIntxInfo(Zel::Ptr<IntxInfo const> src, Zel::Ptr<IntxInfo> dst);

} // namespace Varnol
