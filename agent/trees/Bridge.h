#pragma once

#include "agent/trees/Mirrors.h"
#include "agent/trees/Port.h"
#include "agent/trees/Settings.h"
#include "agent/trees/Time.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <deque>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace Agent {

/// The agent's state, and the library at work on it. Four trees:
///
///     configured  what the ports are to say, written here
///         |  TxStatusToTxSyncer                  |  TxStatusToRxSyncer: the ports alone
///     sending     what the Senders send          |
///     source      what was received, written here|
///         |  RxStatusToRxDynamicSyncer           |
///     dynamic     what the views show  <---------+
///
/// and an IntxInfoChangeSm for each record received. A port that is down has no place in any tree.
/// Runs no spanning-tree state machine, does no input or output, and is told the time.
class Bridge {
  public:
    /// Sends a frame on a port. Must not call the bridge.
    /// @return 0, or what errno says of the failure
    using Send = std::function<int(Time now, Port const& port, std::span<Zel::U8 const> frame)>;
    /// Is told, in one line of text, what has changed. Must not call the bridge.
    /// @param port  null for what concerns all
    using Report = std::function<void(Time now, Port const* port, std::string const& change)>;

    /// What Settings::rateLimit counts within.
    static constexpr Time rateInterval = std::chrono::seconds(1);

    Bridge(Settings const& settings, Send send, Report report);
    ~Bridge();
    Bridge(Bridge const&) = delete;
    Bridge& operator=(Bridge const&) = delete;

    Settings const& settings() const noexcept { return settings_; }
    /// Says something else from the next BPDU on; a rate limit holds for the next frame heard.
    void settingsIs(Settings const& settings, Time now);

    /// Adds a port, which is down. The ports are numbered from 1 in the order in which they are
    /// added. References stay valid.
    Port& portIs(std::string name);
    std::deque<Port> const& ports() const noexcept { return ports_; }
    /// By interface, or by name, which may be the interface's too; null when there is none.
    Port* port(Kolvu::IntfId id) noexcept;
    Port const* port(std::string_view name) const noexcept;

    /// The port's link has come up, or bears another address.
    void portUp(Port& port, Kolvu::EthAddr const& address, Time now);
    void portDown(Port& port, Time now);

    /// Has every port that is up send its BPDU.
    void hello(Time now);
    /// Takes a frame from a port; what is wrong with it is counted and traced.
    void receive(Kolvu::IntfId id, std::span<Zel::U8 const> frame, Time now);
    /// Drops the records that nothing has refreshed in time.
    void expire(Time now);
    /// When expire() has something to do next.
    std::optional<Time> nextExpiry() const noexcept;

    /// Frames from ports that do not exist.
    Zel::U64 unknownPort() const noexcept { return unknownPort_; }

    /// What the port heard last, in the dynamic tree; null when nothing, or nothing fresh.
    Zel::Ptr<Varnol::IntxInfo const> heardRecord(Port const& port) const;
    /// What the port says, in the sending side's tree; null while it is down.
    Zel::Ptr<Varnol::IntxInfo const> saidRecord(Port const& port) const;

    /// The three mirrorings that the trees above show.
    Mirrors const& mirrors() const noexcept { return mirrors_; }

    Varnol::TxStatus const& configured() const noexcept { return *configured_; }
    Varnol::TxStatus const& sending() const noexcept { return *sending_; }
    Varnol::RxStatus const& source() const noexcept { return *source_; }
    Varnol::RxStatus const& dynamic() const noexcept { return *dynamic_; }

  private:
    Varnol::TxMstPortStatus::Ptr configuredPort(Port const& port) const;
    Varnol::RxMstPortStatus::Ptr sourcePort(Port const& port) const;
    void writeSaid(Port const& port);
    void writeRateLimit(Port const& port);
    void takeBpdu(Port& port, ReceivedBpdu const& bpdu, std::span<Zel::U8 const> frame, Time now);
    void refuse(Port& port, Refusal refusal);
    bool isOwn(ReceivedBpdu const& bpdu) const noexcept;
    bool aboveRate(Port& port, Time now);
    void dropRecord(Port& port);
    void writeCounters(Port const& port);
    void report(Port* port, Time now, std::string const& change);

    Settings settings_;
    Send send_;
    Report report_;
    std::deque<Port> ports_;
    Zel::U64 unknownPort_ = 0;
    Time helloTime_{}; // of the hello at work, for what the Senders do within

    Varnol::TxStatus::Ptr configured_;
    Varnol::TxStatus::Ptr sending_;
    Varnol::RxStatus::Ptr source_;
    Varnol::RxStatus::Ptr dynamic_;
    /// What a frame says, before it is compared with what was known.
    Varnol::IntxInfo::Ptr scratch_;
    Varnol::TxStatusToTxSyncer::Ptr toSending_;
    Varnol::TxStatusToRxSyncer::Ptr toStructure_;
    Varnol::RxStatusToRxDynamicSyncer::Ptr toDynamic_;
    Mirrors mirrors_;
};

} // namespace Agent
