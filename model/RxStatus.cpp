#include "model/RxStatus.h"

#include "framework/zel/Trace.h"
#include "framework/zel/TypeNodeOf.h"

namespace Varnol {

constinit Zel::TypeNode const RxStatus::_zelType = Zel::typeNodeOf<RxStatus>("Varnol::RxStatus");
constinit Zel::TypeNode const RxMstStatus::_zelType =
    Zel::typeNodeOf<RxMstStatus>("Varnol::RxMstStatus");
constinit Zel::TypeNode const RxMstPortStatus::_zelType =
    Zel::typeNodeOf<RxMstPortStatus>("Varnol::RxMstPortStatus");

namespace {
[[maybe_unused]] const bool registered[] = {
    Zel::typeNodeIs(RxStatus::_zelType),
    Zel::typeNodeIs(RxMstStatus::_zelType),
    Zel::typeNodeIs(RxMstPortStatus::_zelType),
};
} // namespace

Zel::TraceStream& operator<<(Zel::TraceStream& stream, PortCounters const& counters) {
    return stream << counters.sent << "/" << counters.received << "/" << counters.taggedErrors
                  << "/" << counters.otherErrors << "/" << counters.rateLimited << "/"
                  << counters.filtered;
}

RxMstPortStatus::RxMstPortStatus(Kolvu::IntfId intfId)
    : intfId_(intfId) {}
RxMstPortStatus::~RxMstPortStatus() = default;

RxMstStatus::RxMstStatus(Zel::Name name)
    : name_(std::move(name)) {}
RxMstStatus::~RxMstStatus() = default;

RxStatus::RxStatus() = default;
RxStatus::~RxStatus() = default;

} // namespace Varnol
