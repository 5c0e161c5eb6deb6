#include "agent/trees/Bridge.h"

#include "agent/bpdu/Parse.h"
#include "agent/bpdu/Record.h"
#include "agent/trees/RecordChanges.h"
#include "framework/zel/Trace.h"
#include "syncers/MirrorDiff.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace Agent {
namespace {

constinit Zel::TraceHandle traceHandle("StpAgent", false);

const Zel::Name mstName("cist");
constexpr Bridging::VlanIdOrNone noVlan = 0;
constexpr Stp::BridgeSystemId cist = 0;

Time timeOf(Stp::TimerVal timer) {
    return Time(Time::period::den) * timer.units() / Stp::TimerVal::unitsPerSecond;
}

double seconds(Time time) { return static_cast<double>(time.count()) / Time::period::den; }

/// How long a record stays without being refreshed, IEEE 802.1D-2004 17.21.23: three hello times,
/// or no time where the message age would exceed the max age here.
Time lifetime(ReceivedBpdu const& bpdu) {
    const Zel::U32 second = Stp::TimerVal::unitsPerSecond;
    const Zel::U32 age = (bpdu.messageAge.units() + second + second / 2) / second * second;
    return age <= bpdu.maxAge.units() ? 3 * timeOf(bpdu.helloTime) : Time{};
}

/// One more, past 0: an update count of 0 is the same as none.
unsigned nextUpdate(unsigned updates) {
    return updates == std::numeric_limits<unsigned>::max() ? 1 : updates + 1;
}

std::string summary(ReceivedBpdu const& bpdu) {
    return "bridge " + valueText(bpdu.bridgeId) + " port " + valueText(bpdu.portId) + " root " +
           valueText(bpdu.rootId) + " cost " + valueText(bpdu.rootPathCost) + " flags " +
           valueText(bpdu.flags);
}

} // namespace

Zel::U64 PortCounts::bad() const noexcept {
    return std::accumulate(refused.begin(), refused.end(), Zel::U64{0});
}

Bridge::Bridge(Settings const& settings, Send send, Report report)
    : settings_(settings)
    , send_(std::move(send))
    , report_(std::move(report))
    , configured_(Zel::newActive<Varnol::TxStatus>())
    , sending_(Zel::newActive<Varnol::TxStatus>())
    , source_(Zel::newActive<Varnol::RxStatus>())
    , dynamic_(Zel::newActive<Varnol::RxStatus>())
    , scratch_(Zel::newActive<Varnol::IntxInfo>(noVlan)) {
    // The name first: ports that come under a name which its syncer knows are mirrored in full.
    configured_->txMstStatusIs(mstName);
    source_->rxMstStatusIs(mstName);
    toSending_ = Varnol::txStatusToTxSyncerFactory(configured_, sending_);
    toStructure_ = Varnol::txStatusToRxSyncerFactory(configured_, dynamic_);
    toDynamic_ = Varnol::rxStatusToRxDynamicSyncerFactory(source_, dynamic_);
    mirrors_.add("configured -> sending", {"Varnol::TxStatusToTxSyncer", "Varnol::IntxInfoSyncer"},
                 [this] { return Varnol::mirrorDiff(*toSending_); });
    mirrors_.add("configured -> dynamic", {"Varnol::TxStatusToRxSyncer"},
                 [this] { return Varnol::mirrorDiff(*toStructure_); });
    mirrors_.add("source -> dynamic",
                 {"Varnol::RxStatusToRxDynamicSyncer", "Varnol::RxMstStatusToRxDynamicSyncer",
                  "Varnol::RxMstPortStatusToRxDynamicSyncer"},
                 [this] { return Varnol::mirrorDiff(*toDynamic_); });
}

Bridge::~Bridge() = default;

void Bridge::settingsIs(Settings const& settings, Time now) {
    const Settings former = std::exchange(settings_, settings);
    for (Port& port : ports_)
        if (port.up) {
            writeSaid(port);
            writeRateLimit(port);
        }
    const auto compare = [&](std::string_view name, auto before, auto after) {
        if (before != after)
            report(nullptr, now,
                   std::string(name) + ": " + valueText(before) + " -> " + valueText(after));
    };
    compare("priority", former.priority, settings.priority);
    compare("cost", former.cost, settings.cost);
    compare("port priority", former.portPriority, settings.portPriority);
    compare("hello", former.hello, settings.hello);
    compare("rate limit", former.rateLimit, settings.rateLimit);
    mirrors_.notice(now);
}

Port& Bridge::portIs(std::string name) {
    Port& port = ports_.emplace_back();
    port.id = Kolvu::IntfId::ethernet(static_cast<Zel::U16>(ports_.size()));
    port.name = std::move(name);
    return port;
}

Port* Bridge::port(Kolvu::IntfId id) noexcept {
    const auto at = std::ranges::find(ports_, id, &Port::id);
    return at == ports_.end() ? nullptr : &*at;
}

Port const* Bridge::port(std::string_view name) const noexcept {
    const auto at = std::ranges::find_if(ports_, [&](Port const& port) {
        return port.name == name || port.id.shortName().view() == name ||
               valueText(port.id) == name;
    });
    return at == ports_.end() ? nullptr : &*at;
}

void Bridge::portUp(Port& port, Kolvu::EthAddr const& address, Time now) {
    if (port.up && port.address == address)
        return;
    if (port.up)
        portDown(port, now);
    port.up = true;
    port.address = address;
    // First where the port sends: with it comes its place in the dynamic tree.
    writeSaid(port);
    const auto sendingPort = sending_->txMstStatus(mstName)->txMstPortStatus(port.id);
    port.sender =
        Zel::newActive<Sender>(sendingPort, address, [this, &port](Kolvu::Pkt::Ptr const& frame) {
            if (!frame) {
                ++port.counts.noPacket;
            } else if (const int error = send_(helloTime_, port, std::as_const(*frame).data())) {
                ++port.counts.sendErrors;
                Zel::trace(traceHandle, 4, [&](Zel::TraceStream& out) {
                    out << port.name << ": not sent, error " << static_cast<unsigned>(error);
                });
            } else {
                ++port.counts.sent;
            }
        });
    port.sender->notifierIs(sendingPort);

    writeRateLimit(port);
    writeCounters(port);
    report(&port, now, "up, address " + valueText(address));
    mirrors_.notice(now);
}

void Bridge::portDown(Port& port, Time now) {
    if (!port.up)
        return;
    dropRecord(port);
    port.up = false;
    port.sender = nullptr;
    source_->rxMstStatus(mstName)->rxMstPortStatusDel(port.id);
    configured_->txMstStatus(mstName)->txMstPortStatusDel(port.id);
    report(&port, now, "down");
    mirrors_.notice(now);
}

void Bridge::hello(Time now) {
    helloTime_ = now;
    source_->updateCtrTimeIs(seconds(now));
    source_->localHeartbeatIs(source_->localHeartbeat() + 1);
    for (Port& port : ports_) {
        if (!port.up)
            continue;
        const auto tx = configuredPort(port);
        tx->txUpdateIs(noVlan, nextUpdate(tx->txUpdate(noVlan)));
        writeCounters(port);
    }
    mirrors_.notice(now);
}

void Bridge::receive(Kolvu::IntfId id, std::span<Zel::U8 const> frame, Time now) {
    Port* const port = this->port(id);
    if (!port) {
        ++unknownPort_;
        Zel::trace(traceHandle, 5,
                   [&](Zel::TraceStream& out) { out << "frame from no port of ours, " << id; });
        return;
    }
    if (!port->up) {
        ++port->counts.whileDown;
        Zel::trace(traceHandle, 5,
                   [&](Zel::TraceStream& out) { out << port->name << ": frame while down"; });
        return;
    }
    if (aboveRate(*port, now)) {
        ++port->counts.rateLimited;
        Zel::trace(traceHandle, 5,
                   [&](Zel::TraceStream& out) { out << port->name << ": above the rate limit"; });
    } else {
        const auto result = parseFrame(frame);
        if (auto const* refusal = std::get_if<Refusal>(&result))
            refuse(*port, *refusal);
        else if (auto const& bpdu = std::get<ReceivedBpdu>(result); isOwn(bpdu))
            refuse(*port, Refusal::ownFrame);
        else
            takeBpdu(*port, bpdu, frame, now);
    }
    writeCounters(*port);
    mirrors_.notice(now);
}

void Bridge::takeBpdu(Port& port, ReceivedBpdu const& bpdu, std::span<Zel::U8 const> frame,
                      Time now) {
    ++port.counts.received;
    if (bpdu.kind == BpduKind::topologyChangeNotification) { // says nothing for a record
        ++port.counts.notifications;
        report(&port, now, "topology change notification from " + valueText(bpdu.source));
        return;
    }
    const auto rx = sourcePort(port);
    const auto record = rx->rxInfoIs(noVlan);
    const bool isNew = !port.changeCounter;
    if (isNew) {
        port.changeCounter = Varnol::intxInfoChangeSmFactory(record, noVlan);
        port.changeCounter->updatedFieldCountIs(0);
    }
    recordBpdu(scratch_, bpdu);
    const auto changes = writeChanges(*scratch_, record);
    port.counts.changes += port.changeCounter->updatedFieldCount();
    port.changeCounter->updatedFieldCountIs(0);
    port.heard = Heard{bpdu.kind, now, now + lifetime(bpdu), {frame.begin(), frame.end()}};
    rx->rxUpdateIs(noVlan, nextUpdate(rx->rxUpdate(noVlan))); // the syncer copies the record
    source_->updateCtrTimeIs(seconds(now));

    if (isNew)
        report(&port, now, std::string(name(bpdu.kind)) + " BPDU from " + summary(bpdu));
    else
        for (FieldChange const& change : changes)
            report(&port, now, change.name + ": " + change.before + " -> " + change.after);
}

void Bridge::expire(Time now) {
    for (Port& port : ports_) {
        if (!port.heard || port.heard->expires > now)
            continue;
        dropRecord(port);
        ++port.counts.agedOut;
        report(&port, now, "aged out");
    }
    mirrors_.notice(now);
}

std::optional<Time> Bridge::nextExpiry() const noexcept {
    std::optional<Time> next;
    for (Port const& port : ports_)
        if (port.heard && (!next || port.heard->expires < *next))
            next = port.heard->expires;
    return next;
}

Zel::Ptr<Varnol::IntxInfo const> Bridge::heardRecord(Port const& port) const {
    const auto mst = std::as_const(*dynamic_).rxMstStatus(mstName);
    const auto rx = mst ? mst->rxMstPortStatus(port.id) : nullptr;
    return rx ? rx->rxInfo(noVlan) : nullptr;
}

Zel::Ptr<Varnol::IntxInfo const> Bridge::saidRecord(Port const& port) const {
    const auto mst = std::as_const(*sending_).txMstStatus(mstName);
    const auto tx = mst ? mst->txMstPortStatus(port.id) : nullptr;
    return tx ? tx->txInfo(noVlan) : nullptr;
}

Varnol::TxMstPortStatus::Ptr Bridge::configuredPort(Port const& port) const {
    return configured_->txMstStatusIs(mstName)->txMstPortStatusIs(port.id);
}

Varnol::RxMstPortStatus::Ptr Bridge::sourcePort(Port const& port) const {
    return source_->rxMstStatusIs(mstName)->rxMstPortStatusIs(port.id);
}

/// A designated, forwarding port of the root's.
void Bridge::writeSaid(Port const& port) {
    Stp::RstpBpduFlags flags;
    flags.portRoleIs(Stp::PortRole::designated);
    flags.learningIs(true);
    flags.forwardingIs(true);

    const Varnol::IntxInfo::Ptr said = Zel::newActive<Varnol::IntxInfo>(noVlan);
    said->stpVersionIs(Stp::StpBpduVersion::rstp);
    said->intxInfoTypeIs(Stp::StpBpduType::rst);
    const auto entry = said->mstiNIs(cist);
    entry->flagsIs(flags);
    entry->bridgeIdIs(settings_.bridgeId());
    entry->portIdIs(Stp::PortId(settings_.portPriority, port.id.port()));
    entry->cistRootBridgeIdIs(settings_.bridgeId());
    entry->cistExtRootPathCostIs(settings_.cost);
    entry->maxAgeIs(Settings::maxAge);
    entry->helloTimeIs(Stp::TimerVal::seconds(settings_.hello));
    entry->fwdDelayIs(Settings::forwardDelay);

    const auto tx = configuredPort(port);
    writeChanges(*said, tx->txInfoIs(noVlan));
    tx->txHelloWhenOnIs(Stp::TimerVal::seconds(settings_.hello));
    tx->txNewInfoIs(tx->txNewInfo() + 1);
}

void Bridge::writeRateLimit(Port const& port) {
    const auto rx = sourcePort(port);
    rx->rateLimitIntervalIs(seconds(rateInterval));
    rx->rateLimitMaxCountIs(settings_.rateLimit);
    rx->rateLimitEnabledIs(true);
}

void Bridge::refuse(Port& port, Refusal refusal) {
    ++port.counts.refused[static_cast<std::size_t>(refusal)];
    Zel::trace(traceHandle, 5, [&](Zel::TraceStream& out) {
        out << port.name << ": frame refused, " << name(refusal) << ": " << text(refusal);
    });
}

/// By the addresses, which no other bridge has; a notification bears no bridge identifier.
bool Bridge::isOwn(ReceivedBpdu const& bpdu) const noexcept {
    if (bpdu.kind != BpduKind::topologyChangeNotification &&
        bpdu.bridgeId.address() == settings_.address)
        return true;
    return bpdu.source != Kolvu::EthAddr() && std::ranges::any_of(ports_, [&](Port const& port) {
               return port.address == bpdu.source;
           });
}

bool Bridge::aboveRate(Port& port, Time now) {
    if (now - port.intervalBegin >= rateInterval || now < port.intervalBegin) {
        port.intervalBegin = now;
        port.intervalCount = 0;
    }
    return ++port.intervalCount > settings_.rateLimit;
}

void Bridge::dropRecord(Port& port) {
    port.heard.reset();
    port.changeCounter = nullptr;
    const auto rx = sourcePort(port);
    rx->rxInfoDel(noVlan);
    rx->rxUpdateDel(noVlan); // the syncer deletes its record
}

void Bridge::writeCounters(Port const& port) {
    if (!port.up)
        return;
    const auto refused = [&](Refusal refusal) {
        return port.counts.refused[static_cast<std::size_t>(refusal)];
    };
    Varnol::PortCounters counters;
    counters.sent = static_cast<Zel::U32>(port.counts.sent);
    counters.received = static_cast<Zel::U32>(port.counts.received);
    counters.taggedErrors = static_cast<Zel::U32>(refused(Refusal::tagged));
    counters.otherErrors = static_cast<Zel::U32>(port.counts.bad() - refused(Refusal::tagged));
    counters.rateLimited = static_cast<Zel::U32>(port.counts.rateLimited);
    const auto rx = sourcePort(port);
    rx->bpduCountIs(static_cast<unsigned>(port.counts.received));
    rx->countersIs(counters);
}

void Bridge::report(Port* port, Time now, std::string const& change) {
    if (port)
        port->lastChange = now;
    report_(now, port, change);
}

} // namespace Agent
