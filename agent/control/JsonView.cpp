#include "agent/control/JsonView.h"

#include "agent/trees/RecordChanges.h"
#include "framework/zel/Attribute.h"

#include <nlohmann/json.hpp>

#include <cctype>
#include <map>

namespace Agent {
namespace {

using Json = nlohmann::ordered_json;

double seconds(Time time) { return static_cast<double>(time.count()) / Time::period::den; }
double seconds(Stp::TimerVal timer) {
    return static_cast<double>(timer.units()) / Stp::TimerVal::unitsPerSecond;
}

Json json(std::optional<std::string_view> text) { return text ? Json(*text) : Json(nullptr); }
Json json(Stp::BridgeId const& id) {
    return {{"text", valueText(id)},
            {"priority", id.priority()},
            {"system_id_extension", id.systemIdExtension()},
            {"address", valueText(id.address())}};
}
Json json(Stp::PortId id) { return {{"priority", id.priority()}, {"number", id.number()}}; }
Json json(Stp::RstpBpduFlags flags) {
    return {{"octet", flags.value()},
            {"topology_change", flags.topologyChange()},
            {"proposal", flags.proposal()},
            {"learning", flags.learning()},
            {"forwarding", flags.forwarding()},
            {"agreement", flags.agreement()},
            {"topology_change_acknowledgment", flags.topologyChangeAck()}};
}
Json json(Stp::TimerVal timer) { return seconds(timer); }
template <class T> Json json(T const& value) {
    if constexpr (std::is_arithmetic_v<T>)
        return value;
    else if constexpr (requires { Json(value.value()); })
        return value.value();
    else
        return valueText(value);
}

/// "helloTime" as "hello_time".
std::string snakeCase(std::string_view name) {
    std::string snake;
    for (const char c : name) {
        if (std::isupper(static_cast<unsigned char>(c))) {
            snake += '_';
            snake += static_cast<char>(c - 'A' + 'a');
        } else {
            snake += c;
        }
    }
    return snake;
}

/// Every attribute by its name; children and entries in an object by their keys.
template <class E> Json treeJson(E const& entity) {
    Json tree = Json::object();
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        const std::string key = snakeCase(A::name);
        if constexpr (Zel::KeyedAttribute<A>) {
            std::map<typename A::Key, Json> elements;
            for (auto const& element : A::read(entity)) {
                if constexpr (Zel::CollectionAttribute<A>)
                    elements[element->fwkKey()] = treeJson(*element);
                else
                    elements[element.key()] = json(element.value());
            }
            tree[key] = Json::object();
            for (auto& [elementKey, element] : elements)
                tree[key][valueText(elementKey)] = std::move(element);
        } else if constexpr (Zel::ScalarAttribute<A>) {
            tree[key] = json(A::read(entity));
        }
    });
    return tree;
}

template <class E> Json treeOrNull(Zel::Ptr<E> const& entity) {
    return entity ? treeJson(*entity) : Json(nullptr);
}

Json heardJson(AgentView const& view, Port const& port) {
    const auto entry = heardCist(view.bridge, port);
    if (!entry)
        return nullptr;
    return {{"kind", name(port.heard->kind)},
            {"seconds_ago", seconds(view.now - port.heard->at)},
            {"ages_out_in_seconds", seconds(port.heard->expires - view.now)},
            {"neighbor", valueText(view.bridge.heardRecord(port)->neighborAddr())},
            {"flags", json(entry->flags())},
            {"root", json(entry->cistRootBridgeId())},
            {"root_path_cost", json(entry->cistExtRootPathCost())},
            {"bridge", json(entry->bridgeId())},
            {"port", json(entry->portId())},
            {"message_age_seconds", seconds(entry->messageAge())},
            {"max_age_seconds", seconds(entry->maxAge())},
            {"hello_time_seconds", seconds(entry->helloTime())},
            {"forward_delay_seconds", seconds(entry->fwdDelay())}};
}

Json portJson(AgentView const& view, Port const& port) {
    PortCounts const& counts = port.counts;
    const auto entry = heardCist(view.bridge, port);
    Json refused = Json::object();
    for (std::size_t i = 0; i < refusals; ++i)
        refused[std::string(name(static_cast<Refusal>(i)))] = counts.refused[i];
    const Json none;
    return {
        {"name", port.name},
        {"interface", valueText(port.id)},
        {"number", port.id.port()},
        {"up", port.up},
        {"address", port.address == Kolvu::EthAddr() ? none : Json(valueText(port.address))},
        {"role", entry ? json(roleText(port.heard->kind, entry->flags())) : none},
        {"state", !port.up ? Json("disabled")
                  : entry  ? json(stateText(port.heard->kind, entry->flags()))
                           : none},
        {"cost", entry ? json(entry->cistExtRootPathCost()) : none},
        {"port_id", entry ? json(entry->portId()) : none},
        {"sent", counts.sent},
        {"received", counts.received},
        {"bad", counts.bad()},
        {"changes", counts.changes},
        {"last_change_seconds_ago",
         port.lastChange ? Json(seconds(view.now - *port.lastChange)) : none},
        {"heard", heardJson(view, port)},
        {"counters",
         {{"send_errors", counts.sendErrors},
          {"no_packet", counts.noPacket},
          {"notifications", counts.notifications},
          {"while_down", counts.whileDown},
          {"rate_limited", counts.rateLimited},
          {"missed", counts.missed},
          {"receive_errors", counts.receiveErrors},
          {"aged_out", counts.agedOut}}},
        {"refused", refused},
    };
}

std::string document(Json element) {
    Json array = Json::array();
    array.push_back(std::move(element));
    return array.dump(2) + "\n";
}

} // namespace

std::string showJson(AgentView const& view, Port const* only) {
    Settings const& own = view.bridge.settings();
    const RootView root = rootView(view.bridge);
    Json ports = Json::array();
    for (Port const& port : view.bridge.ports())
        if (!only || &port == only)
            ports.push_back(portJson(view, port));
    return document({
        {"time_seconds", seconds(view.now)},
        {"bridge", json(own.bridgeId())},
        {"port_priority", own.portPriority},
        {"hello_time_seconds", own.hello},
        {"max_age_seconds", seconds(Settings::maxAge)},
        {"forward_delay_seconds", seconds(Settings::forwardDelay)},
        {"root", json(root.root)},
        {"root_path_cost", json(root.cost)},
        {"root_port", root.port ? Json(root.port->name) : Json(nullptr)},
        {"ports", ports},
        {"unknown_port_frames", view.bridge.unknownPort()},
        {"control",
         {{"requests", view.control.requests},
          {"bad_requests", view.control.badRequests},
          {"long_requests", view.control.longRequests},
          {"refused_clients", view.control.refusedClients},
          {"silent_clients", view.control.silentClients},
          {"unreading_clients", view.control.unreadingClients}}},
        {"census",
         {{"live_objects", view.census.liveObjects},
          {"packets_in_use", view.census.packets},
          {"notifications", view.census.notifications},
          {"writes", view.census.writes}}},
    });
}

std::string treesJson(AgentView const& view) {
    Bridge const& bridge = view.bridge;
    return document({{"configured", treeJson(bridge.configured())},
                     {"sending", treeJson(bridge.sending())},
                     {"source", treeJson(bridge.source())},
                     {"dynamic", treeJson(bridge.dynamic())}});
}

std::string mirrorJson(AgentView const& view) {
    Json mirrors = Json::array();
    for (MirrorState const& mirror : view.bridge.mirrors().states()) {
        Json differences = Json::array();
        for (Zel::Difference const& each : mirror.differences)
            differences.push_back(
                {{"path", each.path},
                 {"source", each.left ? Json(*each.left) : Json(nullptr)},
                 {"destination", each.right ? Json(*each.right) : Json(nullptr)}});
        mirrors.push_back(
            {{"name", mirror.name},
             {"in_step", mirror.differences.empty()},
             {"writes", mirror.writes},
             {"last_change_seconds_ago",
              mirror.lastChange ? Json(seconds(view.now - *mirror.lastChange)) : Json(nullptr)},
             {"differences", differences}});
    }
    return document({{"mirrors", mirrors}});
}

std::string tracesJson(TracesView const& view) {
    Json handles = Json::array();
    for (Zel::TraceHandleLevels const& handle : view.handles)
        handles.push_back({{"handle", handle.handle}, {"levels", levelsOf(handle.on)}});
    Json settings = Json::array();
    for (Zel::TraceSetting const& setting : view.settings)
        settings.push_back({{"pattern", setting.pattern},
                            {"is_name", setting.isName},
                            {"on", levelsOf(setting.on)},
                            {"off", levelsOf(setting.off)}});
    return document({{"handles", handles}, {"settings", settings}, {"lost", view.lost}});
}

std::string bpduJson(AgentView const& view, Port const& port) {
    std::string octets;
    if (port.heard)
        for (const Zel::U8 octet : port.heard->frame) {
            octets += "0123456789abcdef"[octet >> 4];
            octets += "0123456789abcdef"[octet & 0xf];
        }
    return document({{"name", port.name},
                     {"kind", port.heard ? Json(name(port.heard->kind)) : Json(nullptr)},
                     {"frame", port.heard ? Json(octets) : Json(nullptr)},
                     {"heard", treeOrNull(view.bridge.heardRecord(port))},
                     {"said", treeOrNull(view.bridge.saidRecord(port))}});
}

} // namespace Agent
