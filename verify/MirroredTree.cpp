#include "verify/MirroredTree.h"

#include "framework/zel/Census.h"
#include "syncers/MirrorDiff.h"

#include <algorithm>
#include <bit>
#include <string>

using namespace Varnol;

MirroredTree::MirroredTree() {
    for (unsigned place = 0; place < names * interfaces; place += interfaces) {
        txSource_->txMstStatusIs(name(place));
        rxSource_->rxMstStatusIs(name(place));
    }
    txToTx_ = txStatusToTxSyncerFactory(txSource_, txDest_);
    txToRx_ = txStatusToRxSyncerFactory(txSource_, dynamic_);
    rxToDynamic_ = rxStatusToRxDynamicSyncerFactory(rxSource_, dynamic_);
}

Zel::Name MirroredTree::name(unsigned place) {
    constexpr std::array<std::string_view, names> all{"mst0", "mst1", "mst2", "a longer MST name"};
    return Zel::Name(all[place / interfaces]);
}

Kolvu::IntfId MirroredTree::intf(unsigned place) {
    return Kolvu::IntfId::ethernet(static_cast<Zel::U16>(1 + place % interfaces));
}

Bridging::VlanIdOrNone MirroredTree::vlan(unsigned place) {
    return std::array<Zel::U16, vlans>{0, 10, 4094}[place];
}

TxMstStatus::Ptr MirroredTree::tx(unsigned place) const {
    return txSource_->txMstStatus(name(place));
}
RxMstStatus::Ptr MirroredTree::rx(unsigned place) const {
    return rxSource_->rxMstStatus(name(place));
}

MirroredTree::Objects MirroredTree::objects() const {
    Zel::U64 ports = 0, records = 0, entries = 0, txRecords = 0, txEntries = 0;
    for (Port const& port : ports_) {
        if (!port.present)
            continue;
        ++ports;
        for (unsigned at = 0; at < vlans; ++at) {
            for (Record const& record : {port.tx[at], port.rx[at], port.dynamic[at]}) {
                records += record.present;
                entries += static_cast<unsigned>(std::popcount(record.entries));
            }
            txRecords += port.tx[at].present;
            txEntries += static_cast<unsigned>(std::popcount(port.tx[at].entries));
        }
    }
    return {
        {"Varnol::TxStatus", 2},
        {"Varnol::TxMstStatus", 2 * names},
        {"Varnol::TxMstPortStatus", 2 * ports},
        {"Varnol::RxStatus", 2},
        {"Varnol::RxMstStatus", 2 * names},
        {"Varnol::RxMstPortStatus", 2 * ports},
        // The transmit records stand in the source and in the destination.
        {"Varnol::IntxInfo", records + txRecords},
        {"Varnol::IntxMstiInfo", entries + txEntries},
        {"Varnol::TxStatusToTxSyncer", 1},
        {"Varnol::TxStatusToTxSyncer::ZelSource", 1},
        {"Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm", names},
        {"Varnol::TxStatusToTxSyncer::ZelTxMstStatusSm::ZelTxMstPortStatusSm", ports},
        {"Varnol::IntxInfoSyncer", txRecords},
        {"Varnol::IntxInfoSyncer::ZelSource", txRecords},
        {"Varnol::IntxInfoSyncer::ZelMstiNSm", txEntries},
        {"Varnol::TxStatusToRxSyncer", 1},
        {"Varnol::TxStatusToRxSyncer::ZelSource", 1},
        {"Varnol::TxStatusToRxSyncer::ZelTxMstStatusSm", names},
        {"Varnol::RxStatusToRxDynamicSyncer", 1},
        {"Varnol::RxStatusToRxDynamicSyncer::ZelSource", 1},
        {"Varnol::RxMstStatusToRxDynamicSyncer", names},
        {"Varnol::RxMstStatusToRxDynamicSyncer::ZelSource", names},
        {"Varnol::RxMstPortStatusToRxDynamicSyncer", ports},
        {"Varnol::RxMstPortStatusToRxDynamicSyncer::ZelSource", ports},
    };
}

void MirroredTree::add(IntxInfo& record, Record& model, unsigned entries) {
    model.present = true;
    for (unsigned instance = 0; instance < instances; ++instance) {
        if ((entries & ~model.entries & 1u << instance) != 0)
            toggleEntry(record, model, instance);
    }
}

void MirroredTree::toggleEntry(IntxInfo& record, Record& model, unsigned instance) {
    const Stp::BridgeSystemId key(static_cast<Zel::U16>(instance));
    model.entries ^= 1u << instance;
    if ((model.entries & 1u << instance) != 0)
        record.mstiNIs(key);
    else
        record.mstiNDel(key);
}

/// @param records  a bit for each VLAN
void MirroredTree::addPort(unsigned place, unsigned records, unsigned entries) {
    Port& port = ports_[place];
    port.present = true;
    const auto txPort = tx(place)->txMstPortStatusIs(intf(place));
    const auto rxPort = rx(place)->rxMstPortStatusIs(intf(place));
    for (unsigned at = 0; at < vlans; ++at) {
        if ((records & 1u << at) == 0)
            continue;
        add(*txPort->txInfoIs(vlan(at)), port.tx[at], entries);
        updateTx(place, at, 1);
        add(*rxPort->rxInfoIs(vlan(at)), port.rx[at], entries);
        updateRx(place, at, 1);
    }
}

void MirroredTree::removePort(unsigned place) {
    tx(place)->txMstPortStatusDel(intf(place));
    rx(place)->rxMstPortStatusDel(intf(place));
    ports_[place] = {};
}

unsigned MirroredTree::fill() {
    for (unsigned place = 0; place < ports_.size(); ++place)
        addPort(place, (1u << vlans) - 1, (1u << instances) - 1);
    return names * interfaces;
}

unsigned MirroredTree::ports() const {
    return static_cast<unsigned>(std::ranges::count_if(ports_, &Port::present));
}

unsigned MirroredTree::clear() {
    const unsigned were = ports();
    for (unsigned place = 0; place < ports_.size(); ++place) {
        if (ports_[place].present)
            removePort(place);
    }
    return were;
}

bool MirroredTree::togglePort(std::mt19937_64& random) {
    const auto place = static_cast<unsigned>(random() % ports_.size());
    if (ports_[place].present) {
        removePort(place);
    } else {
        // One after the other: the order in which arguments are evaluated is the compiler's.
        const auto records = static_cast<unsigned>(random()) % (1u << vlans);
        const auto entries = static_cast<unsigned>(random()) % (1u << instances);
        addPort(place, records, entries);
    }
    return ports_[place].present;
}

bool MirroredTree::change(std::mt19937_64& random) {
    const auto place = static_cast<unsigned>(random() % ports_.size());
    if (!ports_[place].present)
        return false;
    return random() % 3 != 0 ? changeTx(place, random) : changeRx(place, random);
}

bool MirroredTree::changeTx(unsigned place, std::mt19937_64& random) {
    Port& model = ports_[place];
    const auto port = tx(place)->txMstPortStatus(intf(place));
    const auto value = static_cast<Zel::U32>(random());
    const auto at = static_cast<unsigned>(random() % vlans);
    const auto instance = static_cast<unsigned>(random() % instances);
    Record& record = model.tx[at];
    switch (random() % 16) {
    case 0:
        port->txNewInfoIs(value);
        return true;
    case 1:
        port->txHelloWhenOnIs(Stp::TimerVal::units(static_cast<Zel::U16>(value)));
        return true;
    case 2:
        if (value % 4 == 0 && model.txUpdates[at] == 0)
            return false;
        updateTx(place, at, value % 4);
        return true;
    case 3: // comes or goes with its entries
        if (record.present) {
            port->txInfoDel(vlan(at));
            record = {};
        } else {
            add(*port->txInfoIs(vlan(at)), record, value % (1u << instances));
        }
        return true;
    default:
        break;
    }
    if (!record.present) {
        port->txNewInfoIs(value);
        return true;
    }
    const auto info = port->txInfo(vlan(at));
    const auto entry = info->mstiN(Stp::BridgeSystemId(static_cast<Zel::U16>(instance)));
    switch (random() % 8) {
    case 0:
        toggleEntry(*info, record, instance);
        break;
    case 1:
        info->stpVersionIs(static_cast<Zel::U8>(value));
        break;
    case 2: // of many lengths
        info->configNameStringIs(
            std::string_view("a name of up to thirty-two octets").substr(0, value % 33));
        break;
    default:
        if (!entry)
            info->configRevisionLevelIs(static_cast<Zel::U16>(value));
        else if (value % 2 != 0)
            entry->flagsIs(static_cast<Zel::U8>(value));
        else
            entry->cistExtRootPathCostIs(value);
    }
    return true;
}

void MirroredTree::updateTx(unsigned place, unsigned at, Zel::U32 count) {
    ports_[place].txUpdates[at] = count;
    const auto port = tx(place)->txMstPortStatus(intf(place));
    if (count != 0)
        port->txUpdateIs(vlan(at), count);
    else
        port->txUpdateDel(vlan(at));
}

/// What a change of the update count does: the dynamic tree's record is as the source's is now.
void MirroredTree::updateRx(unsigned place, unsigned at, Zel::U32 count) {
    Port& model = ports_[place];
    model.rxUpdates[at] = count;
    const auto port = rx(place)->rxMstPortStatus(intf(place));
    if (count != 0)
        port->rxUpdateIs(vlan(at), count);
    else
        port->rxUpdateDel(vlan(at));
    model.dynamic[at] = count != 0 && model.rx[at].present ? model.rx[at] : Record();
}

bool MirroredTree::changeRx(unsigned place, std::mt19937_64& random) {
    Port& model = ports_[place];
    const auto port = rx(place)->rxMstPortStatus(intf(place));
    const auto value = static_cast<Zel::U32>(random());
    const auto at = static_cast<unsigned>(random() % vlans);
    Record& record = model.rx[at];
    switch (random() % 8) {
    case 0:
        port->bpduCountIs(value);
        break;
    case 1:
        port->rateLimitIntervalIs(value / 4.0);
        break;
    case 2:
        if (record.present) {
            port->rxInfoDel(vlan(at));
            record = {};
        } else {
            add(*port->rxInfoIs(vlan(at)), record, value % (1u << instances));
        }
        break;
    case 3:
        if (record.present) {
            toggleEntry(*port->rxInfo(vlan(at)), record,
                        static_cast<unsigned>(random() % instances));
            break;
        }
        [[fallthrough]];
    default:
        if (value % 5 == 0 && model.rxUpdates[at] == 0)
            return false;
        updateRx(place, at, value % 5);
    }
    return true;
}

void MirroredTree::receiveAll() {
    for (unsigned place = 0; place < ports_.size(); ++place) {
        for (unsigned at = 0; at < vlans && ports_[place].present; ++at)
            updateRx(place, at, 1);
    }
}

std::string MirroredTree::difference() const {
    return Zel::differencesText(mirrorDiff(*txToTx_)) + Zel::differencesText(mirrorDiff(*txToRx_)) +
           Zel::differencesText(mirrorDiff(*rxToDynamic_));
}

bool MirroredTree::findsWrongValues() {
    const double timeout = txDest_->heartbeatTimeout();
    txDest_->heartbeatTimeoutIs(timeout + 1);
    const bool transmit = !difference().empty();
    txDest_->heartbeatTimeoutIs(timeout);
    const Zel::U32 heartbeat = dynamic_->peerHeartbeat();
    dynamic_->peerHeartbeatIs(heartbeat + 1);
    const bool receive = !difference().empty();
    dynamic_->peerHeartbeatIs(heartbeat);
    return transmit && receive;
}

std::string censusDifference(MirroredTree::Objects const& expected) {
    std::map<std::string_view, std::array<Zel::U64, 2>> counts; // those alive, those expected
    for (Zel::ClassCensus const& each : Zel::census().classes)
        counts[each.name][0] += each.live;
    for (auto const& [name, count] : expected)
        counts[name][1] = count;
    std::string text;
    for (auto const& [name, count] : counts) {
        if (count[0] != count[1])
            text.append(std::to_string(count[0]))
                .append(" ")
                .append(name)
                .append(" instead of ")
                .append(std::to_string(count[1]))
                .append("; ");
    }
    return text;
}
