#include "model/TxStatus.h"

namespace Varnol {

constinit Zel::TypeNode const TxStatus::_zelType{"Varnol::TxStatus", Zel::attributeTable<TxStatus>};
constinit Zel::TypeNode const TxMstStatus::_zelType{"Varnol::TxMstStatus",
                                                    Zel::attributeTable<TxMstStatus>};
constinit Zel::TypeNode const TxMstPortStatus::_zelType{"Varnol::TxMstPortStatus",
                                                        Zel::attributeTable<TxMstPortStatus>};

namespace {
[[maybe_unused]] const bool registered = Zel::typeNodeIs(TxStatus::_zelType) &&
                                         Zel::typeNodeIs(TxMstStatus::_zelType) &&
                                         Zel::typeNodeIs(TxMstPortStatus::_zelType);
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
