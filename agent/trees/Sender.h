#pragma once

#include "framework/zel/Object.h"
#include "model/TxStatus.h"
#include "platform/kolvu/Pkt.h"
#include "platform/stp/MstPortSm.h"

#include <functional>

namespace Agent {

/// The sending side's reactor on one port: has the library make a frame of the port's non-VLAN
/// record whenever the port's count of updates for it has changed, and hands the frame out.
class Sender final : public Zel::Object<Sender, Varnol::TxMstPortStatus::NotifieeConst> {
  public:
    /// @param frame  null when the packet pool is exhausted
    using Output = std::function<void(Kolvu::Pkt::Ptr const& frame)>;
    static Zel::TypeNode const _zelType;

    /// @param port     of the sending side's tree
    /// @param address  source of the frames
    Sender(Varnol::TxMstPortStatus::Ptr const& port, Kolvu::EthAddr const& address, Output output);

    void onAttribute(Zel::AttributeId id, void const* key) override;

  private:
    Varnol::TxMstPortStatus::Ptr port_;
    Stp::MstPortSm::Ptr machine_;
    Output output_;
    unsigned updates_ = 0;
};

} // namespace Agent
