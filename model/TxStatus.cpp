#include "model/TxStatus.h"

#include "framework/zel/TypeNodeOf.h"

namespace Varnol {

constinit Zel::TypeNode const TxStatus::_zelType = Zel::typeNodeOf<TxStatus>("Varnol::TxStatus");
constinit Zel::TypeNode const TxMstStatus::_zelType =
    Zel::typeNodeOf<TxMstStatus>("Varnol::TxMstStatus");
constinit Zel::TypeNode const TxMstPortStatus::_zelType =
    Zel::typeNodeOf<TxMstPortStatus>("Varnol::TxMstPortStatus");

namespace {
[[maybe_unused]] const bool registered[] = {
    Zel::typeNodeIs(TxStatus::_zelType),
    Zel::typeNodeIs(TxMstStatus::_zelType),
    Zel::typeNodeIs(TxMstPortStatus::_zelType),
};
} // namespace

TxMstPortStatus::TxMstPortStatus(Kolvu::IntfId intfId)
    : intfId_(intfId) {}
TxMstPortStatus::~TxMstPortStatus() = default;

TxMstStatus::TxMstStatus(Zel::Name name)
    : name_(std::move(name)) {}
TxMstStatus::~TxMstStatus() = default;

TxStatus::TxStatus() = default;
TxStatus::~TxStatus() = default;

} // namespace Varnol
