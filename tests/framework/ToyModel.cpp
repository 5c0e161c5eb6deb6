#include "tests/framework/ToyModel.h"

namespace Toy {

constinit Zel::TypeNode const Item::_zelType{"Toy::Item", Zel::attributeTable<Item>};
constinit Zel::TypeNode const Group::_zelType{"Toy::Group", Zel::attributeTable<Group>};
constinit Zel::TypeNode const Record::_zelType{"Toy::Record", Zel::attributeTable<Record>};

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
