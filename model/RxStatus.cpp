#include "model/RxStatus.h"

#include "framework/zel/Trace.h"

namespace Varnol {

constinit Zel::TypeNode const RxStatus::_zelType{"Varnol::RxStatus", Zel::attributeTable<RxStatus>};
constinit Zel::TypeNode const RxMstStatus::_zelType{"Varnol::RxMstStatus",
                                                    Zel::attributeTable<RxMstStatus>};
constinit Zel::TypeNode const RxMstPortStatus::_zelType{"Varnol::RxMstPortStatus",
                                                        Zel::attributeTable<RxMstPortStatus>};

namespace {
[[maybe_unused]] const bool registered = Zel::typeNodeIs(RxStatus::_zelType) &&
                                         Zel::typeNodeIs(RxMstStatus::_zelType) &&
                                         Zel::typeNodeIs(RxMstPortStatus::_zelType);
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
