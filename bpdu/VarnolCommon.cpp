#include "bpdu/VarnolCommon.h"

#include "framework/zel/CopyScalars.h"
#include "framework/zel/Fatal.h"

#include <iterator>

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
    // As long as both records have the same keys, their entries are walked side by side; nothing is
    // looked for until they differ.
    auto from = src->mstiN().begin();
    auto to = dst->mstiN().begin();
    const auto end = std::default_sentinel;
    for (; from != end && to != end && (*from)->mstiId() == (*to)->mstiId(); ++from, ++to) {
        // A map shows its elements as constants; those of dst may be changed.
        Zel::copyScalars((*from).ptr(), const_cast<IntxMstiInfo&>(**to));
    }
    for (; from != end; ++from)
        Zel::copyScalars((*from).ptr(), *dst->mstiNIs((*from)->mstiId()));
    // Every key of the source is in the destination now: equal counts are equal keys.
    if (dst->mstiN().members() == src->mstiN().members())
        return;
    for (Zel::Ptr<IntxMstiInfo const> const& entry : dst->mstiN()) {
        if (!src->mstiN().find(entry->mstiId()))
            dst->mstiNDel(entry->mstiId());
    }
}

} // namespace Varnol
