#include "bpdu/VarnolCommon.h"

#include "framework/zel/CopyScalars.h"
#include "framework/zel/Fatal.h"

namespace Varnol {
namespace {

constexpr const char* copySignature =
    "void Varnol::copyIntxInfo(Zel::Ptr<const IntxInfo>, Zel::Ptr<IntxInfo>)";

} // namespace

void copyIntxInfo(Zel::Ptr<IntxInfo const> src, Zel::Ptr<IntxInfo> dst) {
    if (!src)
        Zel::assertionFailed("src", copySignature);
    if (!dst)
        Zel::assertionFailed("dst", copySignature);

    Zel::copyScalars(src.ptr(), *dst);
    for (Zel::Ptr<IntxMstiInfo const> const& entry : src->mstiN())
        Zel::copyScalars(entry.ptr(), *dst->mstiNIs(entry->mstiId()));
    // Every key of the source is in the destination now: equal counts are equal keys.
    if (dst->mstiN().members() == src->mstiN().members())
        return;
    for (Zel::Ptr<IntxMstiInfo const> const& entry : dst->mstiN()) {
        if (!src->mstiN().find(entry->mstiId()))
            dst->mstiNDel(entry->mstiId());
    }
}

} // namespace Varnol
