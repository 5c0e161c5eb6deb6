#include "tests/framework/ToyModel.h"

#include "framework/zel/TypeNodeOf.h"

namespace Toy {

constinit Zel::TypeNode const Item::_zelType = Zel::typeNodeOf<Item>("Toy::Item");
constinit Zel::TypeNode const Group::_zelType = Zel::typeNodeOf<Group>("Toy::Group");
constinit Zel::TypeNode const Record::_zelType = Zel::typeNodeOf<Record>("Toy::Record");

static const bool registered =
    Zel::typeNodeIs(Item::_zelType) && Zel::typeNodeIs(Group::_zelType) &&
    Zel::typeNodeIs(Record::_zelType) && Zel::typeNodeIs(Recorder<Item>::_zelType) &&
    Zel::typeNodeIs(Recorder<Group>::_zelType) && Zel::typeNodeIs(Recorder<Record>::_zelType);

Item::Item(ItemId id) noexcept
    : id_(id) {}
Item::~Item() = default;

Group::Group(Zel::Name name) noexcept
    : name_(std::move(name)) {}
Group::~Group() = default;

Record::Record() noexcept = default;
Record::~Record() = default;

Zel::TraceStream& operator<<(Zel::TraceStream& stream, ItemId id) {
    return stream << Zel::U32{id.value()};
}

Zel::TraceStream& operator<<(Zel::TraceStream& stream, Colour colour) {
    constexpr const char* names[] = {"none", "red", "green"};
    return stream << names[static_cast<unsigned>(colour)];
}

Zel::TraceStream& operator<<(Zel::TraceStream& stream, Digest const& digest) {
    const char* dot = "";
    for (Zel::U8 octet : digest.octets)
        stream << std::exchange(dot, ".") << Zel::U32{octet};
    return stream;
}

std::string textOf(ItemId id) { return std::to_string(id.value()); }
std::string textOf(Zel::Name const& name) { return std::string(name.view()); }

std::ostream& operator<<(std::ostream& stream, Notification const& notification) {
    return stream << notification.reactor << ": " << notification.id << " [" << notification.key
                  << "]";
}

Log logOf(std::initializer_list<Expected> notifications) {
    Log log;
    for (auto const& [reactor, id, key] : notifications)
        log.push_back({reactor, id, key});
    return log;
}

} // namespace Toy
