#include "model/IntxInfo.h"

#include "framework/zel/TraceEntity.h"
#include "framework/zel/TypeNodeOf.h"

namespace Varnol {

constinit Zel::TypeNode const IntxInfo::_zelType = Zel::typeNodeOf<IntxInfo>("Varnol::IntxInfo");
constinit Zel::TypeNode const IntxMstiInfo::_zelType =
    Zel::typeNodeOf<IntxMstiInfo>("Varnol::IntxMstiInfo");

namespace {
[[maybe_unused]] const bool registered[] = {
    Zel::typeNodeIs(IntxInfo::_zelType),
    Zel::typeNodeIs(IntxMstiInfo::_zelType),
};
} // namespace

IntxInfo::IntxInfo(Bridging::VlanIdOrNone vlanId)
    : vlanId_(vlanId) {}
IntxInfo::~IntxInfo() = default;

IntxMstiInfo::IntxMstiInfo(Stp::BridgeSystemId mstiId)
    : mstiId_(mstiId) {}
IntxMstiInfo::~IntxMstiInfo() = default;

Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntxInfo const* info) {
    return Zel::traceEntity(stream, info);
}

Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntxMstiInfo const* entry) {
    return Zel::traceEntity(stream, entry);
}

} // namespace Varnol
