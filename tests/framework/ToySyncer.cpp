#include "tests/framework/ToySyncer.h"

#include "framework/zel/CopyScalars.h"
#include "framework/zel/Reinstantiation.h"

#include <string_view>

namespace Toy {

constinit Zel::TypeNode const ItemSyncer::_zelType{"Toy::ItemSyncer", {}};
constinit Zel::TypeNode const ItemSyncer::ZelSource::_zelType{"Toy::ItemSyncer::ZelSource", {}};
constinit Zel::TypeNode const ItemSyncer::ZelItem::_zelType{"Toy::ItemSyncer::ZelItem", {}};
constinit Zel::TypeNode const GroupSyncer::_zelType{"Toy::GroupSyncer", {}};
constinit Zel::TypeNode const GroupSyncer::ZelSource::_zelType{"Toy::GroupSyncer::ZelSource", {}};
constinit Zel::TypeNode const GroupSyncer::ZelGroup::_zelType{"Toy::GroupSyncer::ZelGroup", {}};
constinit Zel::TypeNode const GroupSyncer::ZelGroup::ZelItem::_zelType{
    "Toy::GroupSyncer::ZelGroup::ZelItem", {}};
constinit Zel::TypeNode const RevisionSyncer::_zelType{"Toy::RevisionSyncer", {}};
constinit Zel::TypeNode const RevisionSyncer::ZelSource::_zelType{"Toy::RevisionSyncer::ZelSource",
                                                                  {}};
constinit Zel::TypeNode const SyncerSet::_zelType{"Toy::SyncerSet", {}};

static const bool registered = [] {
    for (Zel::TypeNode const* type :
         {&ItemSyncer::_zelType, &ItemSyncer::ZelSource::_zelType, &ItemSyncer::ZelItem::_zelType,
          &GroupSyncer::_zelType, &GroupSyncer::ZelSource::_zelType,
          &GroupSyncer::ZelGroup::_zelType, &GroupSyncer::ZelGroup::ZelItem::_zelType,
          &RevisionSyncer::_zelType, &RevisionSyncer::ZelSource::_zelType, &SyncerSet::_zelType})
        Zel::typeNodeIs(*type);
    return true;
}();

void Tape::note(std::string const& who, std::string_view what) {
    const std::string step = who + " " + std::string(what);
    steps.push_back(step);
    if (at)
        at(step);
}

// ItemSyncer

ItemSyncer::ItemSyncer(Zel::Ptr<Record const> const& source, Zel::Ptr<Record> const& destination,
                       Tape* tape)
    : destination_(destination)
    , tape_(tape) {
    construct([&] {
        if (tape_)
            tape_->itemSyncer = this;
        note("construct");
        sourceStart(source);
        if (const Zel::Ptr<Record const> from = this->source())
            children_.resync(*this, from);
        handleInitialized();
    });
}

ItemSyncer::~ItemSyncer() {
    note("destroy");
    tearDown();
    if (tape_)
        tape_->itemSyncer = nullptr;
}

Zel::Ptr<ItemSyncer::ZelItem> ItemSyncer::item(ItemId key) {
    return Zel::Ptr<ZelItem>(children_.find(key));
}

Zel::Ptr<ItemSyncer::ZelItem> ItemSyncer::itemIs(Zel::Ptr<Item const> const& item) {
    return children_.is(*this, item);
}

void ItemSyncer::itemDel(ItemId key) { children_.del(key); }

void ItemSyncer::itemDelAll() { children_.delAll(); }

void ItemSyncer::note(std::string_view what) const {
    if (tape_)
        tape_->note("ItemSyncer", what);
}

void ItemSyncer::hasNotificationActiveIs(bool active) {
    note(active ? "active 1" : "active 0");
    Base::hasNotificationActiveIs(active);
}

void ItemSyncer::zelDoZombieReactors(bool zombie) {
    note(zombie ? "zombie 1" : "zombie 0");
    Base::zelDoZombieReactors(zombie);
}

void ItemSyncer::handleItem(ItemId key) {
    const Zel::Ptr<Record const> from = source();
    if (from && from->item(key))
        destination_->itemIs(key);
    else
        destination_->itemDel(key);
}

void ItemSyncer::handleInitialized() {
    note("handleInitialized");
    if (const Zel::Ptr<Record const> from = source()) {
        Zel::copyScalars(from.ptr(), *destination_);
        for (auto const& tally : from->tally())
            handleTally(tally.key());
        for (auto const& tally : destination_->tally())
            handleTally(tally.key());
        for (Zel::Ptr<Item const> const& item : from->item())
            handleItem(item->id());
        for (Zel::Ptr<Item const> const& item : destination_->item())
            handleItem(item->id());
        for (Zel::Ptr<ZelItem> const& child : children_)
            child->handleInitialized();
    }
    initializedIs(true);
}

void ItemSyncer::handleTally(ItemId key) {
    const Zel::Ptr<Record const> from = source();
    if (from && from->tally().lookupNodeG(key))
        destination_->tallyIs(key, from->tally(key));
    else
        destination_->tallyDel(key);
}

ItemSyncer::ZelSource::ZelSource(Zel::Ptr<Record const> const& source, ItemSyncer* owner)
    : TapedReactor(source, owner, "ZelSource", owner->tape()) {
    if (tape())
        tape()->source = this;
}

ItemSyncer::ZelSource::~ZelSource() {
    if (tape() && tape()->source == this)
        tape()->source = nullptr;
}

ItemSyncer::ZelItem::ZelItem(Zel::Ptr<Item const> const& item, ItemSyncer* owner)
    : ItemReactor(item, owner) {
    const Construction guard(*this);
    start();
}

ItemSyncer::ZelItem::~ZelItem() = default;

Zel::Ptr<ItemSyncer> itemSyncerFactory(Zel::Ptr<Record const> const& source,
                                       Zel::Ptr<Record> const& destination, Tape* tape) {
    return Zel::newActive<ItemSyncer>(source, destination, tape);
}

// GroupSyncer

GroupSyncer::GroupSyncer(Zel::Ptr<Record const> const& source, Zel::Ptr<Record> const& destination,
                         Tape* tape)
    : destination_(destination)
    , tape_(tape) {
    construct([&] {
        if (tape_)
            tape_->groupSyncer = this;
        note("construct");
        sourceStart(source);
        if (const Zel::Ptr<Record const> from = this->source())
            children_.resync(*this, from);
        handleInitialized();
    });
}

GroupSyncer::~GroupSyncer() {
    note("destroy");
    tearDown();
    if (tape_)
        tape_->groupSyncer = nullptr;
}

void GroupSyncer::note(std::string_view what) const {
    if (tape_)
        tape_->note("GroupSyncer", what);
}

Zel::Ptr<GroupSyncer::ZelGroup> GroupSyncer::group(Zel::Name const& key) {
    return Zel::Ptr<ZelGroup>(children_.find(key));
}

void GroupSyncer::handleGroup(Zel::Name const& key) {
    const Zel::Ptr<Record const> from = source();
    if (from && from->group(key))
        destination_->groupIs(key);
    else
        destination_->groupDel(key);
}

void GroupSyncer::handleInitialized() {
    note("handleInitialized");
    const Zel::Ptr<Record const> from = source();
    if (!from)
        return;
    for (Zel::Ptr<Group const> const& group : from->group())
        handleGroup(group->name());
    for (Zel::Ptr<Group const> const& group : destination_->group())
        handleGroup(group->name());
    for (Zel::Ptr<ZelGroup> const& child : children_)
        child->handleInitialized();
}

GroupSyncer::ZelSource::ZelSource(Zel::Ptr<Record const> const& source, GroupSyncer* owner)
    : TapedReactor(source, owner, "ZelSource", owner->tape()) {
    if (tape())
        tape()->source = this;
}

GroupSyncer::ZelSource::~ZelSource() {
    if (tape() && tape()->source == this)
        tape()->source = nullptr;
}

GroupSyncer::ZelGroup::ZelGroup(Zel::Ptr<Group const> const& group, GroupSyncer* owner)
    : TapedReactor(group, owner, "ZelGroup(" + textOf(group->name()) + ")", owner->tape())
    , key_(group->name()) {
    const Construction guard(*this);
    if (tape())
        tape()->group = this;
    children_.resync(*this, group);
    start();
}

GroupSyncer::ZelGroup::~ZelGroup() {
    tearDown();
    if (tape() && tape()->group == this)
        tape()->group = nullptr;
}

Zel::Ptr<GroupSyncer::ZelGroup::ZelItem> GroupSyncer::ZelGroup::item(ItemId key) {
    return Zel::Ptr<ZelItem>(children_.find(key));
}

Zel::Ptr<Group> GroupSyncer::ZelGroup::destination() const {
    return owner() ? owner()->destination()->group(key_) : nullptr;
}

Zel::Ptr<Item> GroupSyncer::ZelGroup::destinationItem(ItemId key) const {
    const Zel::Ptr<Group> group = destination();
    return group ? group->item(key) : nullptr;
}

void GroupSyncer::ZelGroup::handle(Group::levelAttribute) {
    if (!begins("level"))
        return;
    if (const Zel::Ptr<Group> to = destination())
        to->levelIs(watched()->level());
}

void GroupSyncer::ZelGroup::handle(Group::itemAttribute, ItemId const& key) {
    if (!begins("item", key))
        return;
    const Zel::Ptr<Group> to = destination();
    if (!to)
        return;
    if (watched()->item(key))
        to->itemIs(key);
    else
        to->itemDel(key);
}

void GroupSyncer::ZelGroup::handleInitialized() {
    note("handleInitialized");
    replay();
    if (const Zel::Ptr<Group> to = destination()) {
        const Zel::Ptr<Group const> from = notifier();
        for (Zel::Ptr<Item const> const& item : from->item())
            to->itemIs(item->id());
        for (Zel::Ptr<Item const> const& item : to->item()) {
            if (!from->item(item->id()))
                to->itemDel(item->id());
        }
    }
    for (Zel::Ptr<ZelItem> const& child : children_)
        child->handleInitialized();
}

GroupSyncer::ZelGroup::ZelItem::ZelItem(Zel::Ptr<Item const> const& item, ZelGroup* owner)
    : ItemReactor(item, owner) {
    const Construction guard(*this);
    start();
}

GroupSyncer::ZelGroup::ZelItem::~ZelItem() = default;

Zel::Ptr<GroupSyncer> groupSyncerFactory(Zel::Ptr<Record const> const& source,
                                         Zel::Ptr<Record> const& destination, Tape* tape) {
    return Zel::newActive<GroupSyncer>(source, destination, tape);
}

// RevisionSyncer and SyncerSet

RevisionSyncer::RevisionSyncer(Zel::Name name, Zel::Ptr<Record const> const& source,
                               Zel::Ptr<Record> const& destination)
    : name_(std::move(name))
    , destination_(destination) {
    construct([&] {
        sourceStart(source);
        if (watched())
            copyFrom(*watched());
    });
}

RevisionSyncer::~RevisionSyncer() { tearDown(); }

void RevisionSyncer::copyFrom(Record const& source) {
    const Zel::Ptr<Record> to = destination_;
    const unsigned revision = source.revision();
    to->titleIs(source.title());
    to->revisionIs(revision);
}

RevisionSyncer::ZelSource::ZelSource(Zel::Ptr<Record const> const& source, RevisionSyncer* owner)
    : Reactor(source, owner) {}

RevisionSyncer::ZelSource::~ZelSource() = default;

SyncerSet::SyncerSet() = default;

SyncerSet::~SyncerSet() = default;

Zel::Ptr<RevisionSyncer> SyncerSet::syncerIs(Zel::Name const& name,
                                             Zel::Ptr<Record const> const& source,
                                             Zel::Ptr<Record> const& destination) {
    if (Zel::Ptr<RevisionSyncer> present{syncers_.find(name)}) {
        Zel::assertSameParameter<Record const>("source", source, present->source());
        Zel::assertSameParameter("dest", destination, present->destination());
        return present;
    }
    return syncers_.keep(*this, name,
                         [&] { return Zel::newActive<RevisionSyncer>(name, source, destination); });
}

} // namespace Toy
