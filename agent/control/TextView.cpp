#include "agent/control/TextView.h"

#include "agent/trees/RecordChanges.h"
#include "framework/zel/Attribute.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace Agent {
namespace {

const std::string unknown = "-";

/// Rows of cells, each column as wide as its widest cell.
class Table {
  public:
    using Row = std::vector<std::string>;
    void row(Row row) { rows_.push_back(std::move(row)); }
    std::string text(std::string_view indent = "") const {
        std::vector<std::size_t> widths;
        for (Row const& row : rows_) {
            widths.resize(std::max(widths.size(), row.size()));
            for (std::size_t i = 0; i < row.size(); ++i)
                widths[i] = std::max(widths[i], row[i].size());
        }
        std::string text;
        for (Row const& row : rows_) {
            std::string line(indent);
            for (std::size_t i = 0; i < row.size(); ++i)
                line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
            line.erase(line.find_last_not_of(' ') + 1);
            text += line + "\n";
        }
        return text;
    }

  private:
    std::vector<Row> rows_;
};

std::string text(auto const& value) { return valueText(value); }
std::string text(std::optional<std::string_view> value) {
    return value ? std::string(*value) : unknown;
}

/// "20 s" where the library prints "20s".
std::string text(Stp::TimerVal timer) {
    std::string text = valueText(timer);
    text.insert(text.size() - 1, " ");
    return text;
}

std::string count(Zel::U64 value) { return std::to_string(value); }
std::string ago(AgentView const& view, std::optional<Time> at) {
    return at ? secondsText(view.now - *at) + " s ago" : unknown;
}
std::string fullName(Port const& port) { return port.name + " (" + valueText(port.id) + ")"; }

std::string headText(AgentView const& view) {
    Settings const& own = view.bridge.settings();
    const RootView root = rootView(view.bridge);
    Table table;
    table.row({"Bridge", text(own.bridgeId())});
    table.row({"Root", text(root.root) + (root.port ? "" : ", this bridge")});
    table.row({"Root path cost", text(root.cost)});
    table.row({"Root port", root.port ? fullName(*root.port) : unknown});
    table.row({"Hello time", text(Stp::TimerVal::seconds(own.hello))});
    table.row({"Max age", text(Settings::maxAge)});
    table.row({"Forward delay", text(Settings::forwardDelay)});
    return table.text();
}

void addRow(Table& table, AgentView const& view, Port const& port) {
    const auto entry = heardCist(view.bridge, port);
    const auto heard = [&](auto const& value) { return entry ? value() : unknown; };
    table.row({port.name, heard([&] { return text(roleText(port.heard->kind, entry->flags())); }),
               port.up ? heard([&] { return text(stateText(port.heard->kind, entry->flags())); })
                       : "disabled",
               heard([&] { return text(entry->cistExtRootPathCost()); }),
               heard([&] { return text(entry->portId()); }), count(port.counts.sent),
               count(port.counts.received), count(port.counts.bad()), count(port.counts.changes),
               ago(view, port.lastChange)});
}

std::string detailText(AgentView const& view, Port const& port) {
    PortCounts const& counts = port.counts;
    Table table;
    table.row({"Link", port.up ? "up" : "down"});
    table.row({"Address", port.address == Kolvu::EthAddr() ? unknown : text(port.address)});
    table.row(
        {"Says port", text(Stp::PortId(view.bridge.settings().portPriority, port.id.port()))});
    const auto record = view.bridge.heardRecord(port);
    if (const auto entry = heardCist(view.bridge, port)) {
        table.row(
            {"Heard", std::string(name(port.heard->kind)) + " BPDU, " + ago(view, port.heard->at)});
        table.row({"Ages out in", secondsText(port.heard->expires - view.now) + " s"});
        table.row({"Neighbor", text(record->neighborAddr())});
        table.row({"Flags", text(entry->flags())});
        table.row({"Root", text(entry->cistRootBridgeId())});
        table.row({"Root path cost", text(entry->cistExtRootPathCost())});
        table.row({"Bridge", text(entry->bridgeId())});
        table.row({"Port", text(entry->portId())});
        table.row({"Message age", text(entry->messageAge())});
        table.row({"Max age", text(entry->maxAge())});
        table.row({"Hello time", text(entry->helloTime())});
        table.row({"Forward delay", text(entry->fwdDelay())});
    } else {
        table.row({"Heard", unknown});
    }
    table.row({"Sent", count(counts.sent) + ", " + count(counts.sendErrors) + " errors, " +
                           count(counts.noPacket) + " without a packet"});
    table.row({"Received", count(counts.received) + ", " + count(counts.notifications) +
                               " of them notifications"});
    table.row({"Dropped", count(counts.rateLimited) + " above the rate, " +
                              count(counts.whileDown) + " while down, " + count(counts.missed) +
                              " missed, " + count(counts.receiveErrors) + " errors"});
    table.row({"Aged out", count(counts.agedOut)});
    table.row({"Changes", count(counts.changes) + ", last " + ago(view, port.lastChange)});
    table.row({"Bad", count(counts.bad())});
    for (std::size_t i = 0; i < refusals; ++i)
        if (counts.refused[i] != 0)
            table.row({"", count(counts.refused[i]) + " " +
                               std::string(Agent::text(static_cast<Refusal>(i)))});
    return "\n" + fullName(port) + "\n" + table.text("  ");
}

std::string processText(AgentView const& view) {
    ControlCounts const& counts = view.control;
    return "\nControl: " + count(counts.requests) + " requests, " + count(counts.badRequests) +
           " bad, " + count(counts.longRequests) + " too long, " + count(counts.refusedClients) +
           " clients too many, " + count(counts.silentClients) + " silent, " +
           count(counts.unreadingClients) + " not reading\n" +
           "Frames from unknown ports: " + count(view.bridge.unknownPort()) + "\n" +
           "Live objects: " + count(view.census.liveObjects) +
           ", packets in use: " + count(view.census.packets) + "\n" +
           "Notifications: " + count(view.census.notifications) +
           ", writes into mirrors: " + count(view.census.writes) + "\n";
}

template <class A> std::string childName(typename A::Key const& key) {
    return std::string(A::name) + "(" + valueText(key) + ")";
}

/// A line for each child, entry, and value that is not zero; children and entries by their keys.
template <class E> void addTree(Table& table, E const& entity, std::string const& indent) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::CollectionAttribute<A>) {
            std::map<typename A::Key, typename A::Child const*> children;
            for (auto const& child : A::read(entity))
                children[child->fwkKey()] = child.ptr();
            for (auto const& [key, child] : children) {
                table.row({indent + childName<A>(key)});
                addTree(table, *child, indent + "  ");
            }
        } else if constexpr (Zel::ValueMapAttribute<A>) {
            std::map<typename A::Key, typename A::Value> values;
            for (auto const& node : A::read(entity))
                values[node.key()] = node.value();
            for (auto const& [key, value] : values)
                table.row({indent + childName<A>(key), valueText(value)});
        } else if constexpr (Zel::ScalarAttribute<A>) {
            if (A::read(entity) != typename A::Value{})
                table.row({indent + std::string(A::name), valueText(A::read(entity))});
        }
    });
}

template <class E> std::string treeText(std::string const& title, E const* entity) {
    if (!entity)
        return title + "\n  " + unknown + "\n";
    Table table;
    addTree(table, *entity, "  ");
    return title + "\n" + table.text();
}

std::string hexText(std::span<Zel::U8 const> octets) {
    std::string text;
    for (std::size_t i = 0; i < octets.size(); ++i) {
        char digits[8];
        std::snprintf(digits, sizeof(digits), "%s%02x", i % 16 == 0 ? "\n  " : " ", octets[i]);
        text += digits;
    }
    return text;
}

} // namespace

std::string showText(AgentView const& view, Port const* only, bool detail) {
    std::string shown = headText(view);
    Table table;
    table.row({"Interface", "Role", "State", "Cost", "Prio.Nbr", "Sent", "Received", "Bad",
               "Changes", "Last change"});
    for (Port const& port : view.bridge.ports()) {
        if (only && &port != only)
            continue;
        if (detail)
            shown += detailText(view, port);
        addRow(table, view, port);
    }
    if (detail)
        return shown + (only ? "" : processText(view));
    return shown + "\n" + table.text();
}

std::string treesText(AgentView const& view) {
    Bridge const& bridge = view.bridge;
    return treeText("CONFIGURED, what the ports are to say", &bridge.configured()) + "\n" +
           treeText("SENDING, its mirror, of which frames are made", &bridge.sending()) + "\n" +
           treeText("SOURCE, what was received", &bridge.source()) + "\n" +
           treeText("DYNAMIC, its mirror, with the ports that send", &bridge.dynamic());
}

std::string bpduText(AgentView const& view, Port const& port) {
    std::string shown = treeText("HEARD", view.bridge.heardRecord(port).ptr());
    if (port.heard)
        shown += "\n" + std::string(name(port.heard->kind)) + " BPDU, " +
                 count(port.heard->frame.size()) + " octets" + hexText(port.heard->frame) + "\n";
    return shown + "\n" + treeText("SAID", view.bridge.saidRecord(port).ptr());
}

std::string mirrorText(AgentView const& view) {
    Table table;
    table.row({"Mirror", "In step", "Differences", "Writes", "Last change"});
    std::string differences;
    for (MirrorState const& mirror : view.bridge.mirrors().states()) {
        table.row({std::string(mirror.name), mirror.differences.empty() ? "yes" : "NO",
                   count(mirror.differences.size()), count(mirror.writes),
                   ago(view, mirror.lastChange)});
        if (!mirror.differences.empty())
            differences +=
                "\n" + std::string(mirror.name) + "\n" + Zel::differencesText(mirror.differences);
    }
    return table.text() + differences;
}

std::string tracesText(TracesView const& view) {
    Table handles;
    handles.row({"Handle", "Levels"});
    for (Zel::TraceHandleLevels const& handle : view.handles)
        handles.row({handle.handle, levelsText(handle.on)});
    Table settings;
    settings.row({"Pattern", "On", "Off"});
    for (Zel::TraceSetting const& setting : view.settings)
        settings.row({setting.pattern, levelsText(setting.on), levelsText(setting.off)});
    return handles.text() + "\n" + settings.text() + "\nLost: " + count(view.lost) + "\n";
}

std::string changeText(Time at, Port const* port, std::string_view change) {
    return secondsText(at) + " s  " + (port ? port->name : "bridge") + "  " + std::string(change) +
           "\n";
}

} // namespace Agent
