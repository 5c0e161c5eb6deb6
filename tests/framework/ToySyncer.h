#pragma once

#include "framework/zel/ChildReactors.h"
#include "framework/zel/RootSyncer.h"
#include "tests/framework/ToyModel.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Syncers on the framework's pattern, for its tests: each mirrors a part of one record into
/// another. Every step that they take is noted on a tape, and any step can be disturbed.
///
/// Constructors and destructors are not inline, so that the templates below them are compiled once.
namespace Toy {

class ItemSyncer;
class GroupSyncer;

/// What syncers and their reactors did, step by step. A step is the reactor's name, a blank, and
/// what it does: "ZelItem(3) count", "ZelSource active 1".
class Tape {
  public:
    /// The steps taken so far.
    std::vector<std::string> steps;
    /// What is to be done at a step, after it was noted.
    std::function<void(std::string const& step)> at;

    void note(std::string const& who, std::string_view what);
    // The syncers that note on this tape, and the reactors on a source, on a group and on an item
    // that were made last, while they live; also while they are constructed.
    ItemSyncer* itemSyncer = nullptr;
    GroupSyncer* groupSyncer = nullptr;
    Record::NotifieeConst* source = nullptr;
    Group::NotifieeConst* group = nullptr;
    Item::NotifieeConst* item = nullptr;

    /// The steps since the last call.
    std::vector<std::string> rewind() { return std::exchange(steps, {}); }
};

/// A reactor that notes what the framework does with it. Self offers `std::string name() const`.
template <class Self, class E, class Owner>
class TapedReactor : public Zel::Reactor<Self, E, Owner> {
    using Base = Zel::Reactor<Self, E, Owner>;

  public:
    void hasNotificationActiveIs(bool active) override {
        note(active ? "active 1" : "active 0");
        Base::hasNotificationActiveIs(active);
    }
    void zelDoZombieReactors(bool zombie) override {
        note(zombie ? "zombie 1" : "zombie 0");
        Base::zelDoZombieReactors(zombie);
    }
    void notifierIs(Zel::Ptr<Zel::PtrInterface const> const& notifier) override {
        note(notifier ? "notifier" : "notifier null");
        Base::notifierIs(notifier);
    }
    void ownerDel() noexcept {
        note("owner null");
        Base::ownerDel();
    }
    using Base::replay;

  protected:
    /// Notes the beginning of a handler. What is done at that step may end the reactor.
    /// @return whether it still watches something for an owner
    bool begins(std::string_view handler) {
        const Zel::Ptr<Self> alive(static_cast<Self*>(this));
        note(handler);
        return this->owner() && this->watched();
    }
    template <class Key> bool begins(std::string_view handler, Key const& key) {
        if (!tape_)
            return begins(handler);
        return begins(std::string(handler) + " " + textOf(key));
    }

    TapedReactor(Zel::Ptr<E const> const& entity, Owner* owner, std::string name, Tape* tape)
        : Base(entity, owner)
        , name_(std::move(name))
        , tape_(tape) {
        note("construct");
    }
    ~TapedReactor() override { note("destroy"); }

    Tape* tape() const noexcept { return tape_; }
    void note(std::string_view what) const {
        if (tape_)
            tape_->note(name_, what);
    }

  private:
    std::string name_;
    Tape* tape_;
};

/// The reactor on an item: copies its scalars into the item of the same key that the owner's
/// destination has, if it has one.
template <class Self, class Owner>
class ItemReactor : public TapedReactor<Self, Item, Owner>,
                    public Zel::NamedHandlers<Self, Item>,
                    public Zel::RbTreeMember,
                    public Zel::Initialized {
    using Base = TapedReactor<Self, Item, Owner>;

  public:
    ItemId fwkKey() const noexcept { return key_; }

    template <Zel::ScalarAttribute A> void handle(A) {
        if (!this->begins(A::name))
            return;
        if (const Zel::Ptr<Item> destination = this->owner()->destinationItem(key_))
            A::write(*destination, A::read(*this->watched()));
    }

    void handleInitialized() {
        this->note("handleInitialized");
        this->replay();
        this->initializedIs(true);
    }

  protected:
    ItemReactor(Zel::Ptr<Item const> const& item, Owner* owner)
        : Base(item, owner, "ZelItem(" + textOf(item->id()) + ")", owner->tape())
        , key_(item->id()) {
        if (this->tape())
            this->tape()->item = this;
    }
    ~ItemReactor() override {
        if (this->tape() && this->tape()->item == this)
            this->tape()->item = nullptr;
    }

  private:
    ItemId key_;
};

/// Mirrors the scalars, the tallies and the items of a record; takes no notice of its groups.
class ItemSyncer final : public Zel::RootSyncer<ItemSyncer, Record>, public Zel::Initialized {
    using Base = Zel::RootSyncer<ItemSyncer, Record>;

  public:
    static Zel::TypeNode const _zelType;
    class ZelSource;
    class ZelItem;
    using Children = Zel::ChildReactors<Record::itemAttribute, ZelItem, ItemSyncer>;

    /// @param tape  where steps are noted, if it is not null
    ItemSyncer(Zel::Ptr<Record const> const& source, Zel::Ptr<Record> const& destination,
               Tape* tape);
    ~ItemSyncer() override;

    Zel::Ptr<Record> const& destination() const noexcept { return destination_; }
    Zel::Ptr<Item> destinationItem(ItemId key) const { return destination_->item(key); }
    Children& children() noexcept { return children_; }
    Zel::Ptr<ZelItem> item(ItemId key);
    Zel::Ptr<ZelItem> itemIs(Zel::Ptr<Item const> const& item);
    void itemDel(ItemId key);
    void itemDelAll();
    Tape* tape() const noexcept { return tape_; }

    void handleItem(ItemId key);
    void handleTally(ItemId key);
    void handleInitialized();

    void hasNotificationActiveIs(bool active) override;
    void zelDoZombieReactors(bool zombie) override;

  private:
    void note(std::string_view what) const;

    Zel::Ptr<Record> destination_;
    Tape* tape_;
    Children children_;
};

class ItemSyncer::ZelSource final : public TapedReactor<ZelSource, Record, ItemSyncer> {
  public:
    static Zel::TypeNode const _zelType;
    ZelSource(Zel::Ptr<Record const> const& source, ItemSyncer* owner);
    ~ZelSource() override;

    template <Zel::ScalarAttribute A> void handle(A) {
        if (begins(A::name))
            A::write(*owner()->destination(), A::read(*watched()));
    }
    void handle(Record::itemAttribute, ItemId const& key) {
        if (begins("item", key))
            owner()->handleItem(key);
    }
    void handle(Record::tallyAttribute, ItemId const& key) {
        if (begins("tally", key))
            owner()->handleTally(key);
    }
    void handleTheMode() {
        if (begins("the mode"))
            owner()->destination()->modeIs(watched()->mode());
    }
    ItemSyncer& keeper(Record::itemAttribute) const noexcept { return *owner(); }
};

class ItemSyncer::ZelItem final : public ItemReactor<ZelItem, ItemSyncer> {
  public:
    static Zel::TypeNode const _zelType;
    ZelItem(Zel::Ptr<Item const> const& item, ItemSyncer* owner);
    ~ZelItem() override;
};

Zel::Ptr<ItemSyncer> itemSyncerFactory(Zel::Ptr<Record const> const& source,
                                       Zel::Ptr<Record> const& destination, Tape* tape = nullptr);

/// Mirrors the groups of a record, and their items: its child reactors have child reactors.
class GroupSyncer final : public Zel::RootSyncer<GroupSyncer, Record> {
  public:
    static Zel::TypeNode const _zelType;
    class ZelSource;
    class ZelGroup;
    using Children = Zel::ChildReactors<Record::groupAttribute, ZelGroup, GroupSyncer>;

    GroupSyncer(Zel::Ptr<Record const> const& source, Zel::Ptr<Record> const& destination,
                Tape* tape);
    ~GroupSyncer() override;

    Zel::Ptr<Record> const& destination() const noexcept { return destination_; }
    Children& children() noexcept { return children_; }
    Zel::Ptr<ZelGroup> group(Zel::Name const& key);
    Tape* tape() const noexcept { return tape_; }

    void handleGroup(Zel::Name const& key);
    void handleInitialized();

  private:
    void note(std::string_view what) const;

    Zel::Ptr<Record> destination_;
    Tape* tape_;
    Children children_;
};

class GroupSyncer::ZelSource final : public TapedReactor<ZelSource, Record, GroupSyncer> {
  public:
    static Zel::TypeNode const _zelType;
    ZelSource(Zel::Ptr<Record const> const& source, GroupSyncer* owner);
    ~ZelSource() override;

    void handle(Record::groupAttribute, Zel::Name const& key) {
        if (begins("group", key))
            owner()->handleGroup(key);
    }
    GroupSyncer& keeper(Record::groupAttribute) const noexcept { return *owner(); }
};

class GroupSyncer::ZelGroup final : public TapedReactor<ZelGroup, Group, GroupSyncer>,
                                    public Zel::HashMember {
  public:
    static Zel::TypeNode const _zelType;
    class ZelItem;
    using Children = Zel::ChildReactors<Group::itemAttribute, ZelItem, ZelGroup>;

    ZelGroup(Zel::Ptr<Group const> const& group, GroupSyncer* owner);
    ~ZelGroup() override;

    Zel::Name const& fwkKey() const noexcept { return key_; }
    Children& children() noexcept { return children_; }
    Zel::Ptr<ZelItem> item(ItemId key);
    using TapedReactor::tape;
    /// The group of the same key that the destination has; null where it has none, or where this
    /// reactor has been removed.
    Zel::Ptr<Group> destination() const;
    Zel::Ptr<Item> destinationItem(ItemId key) const;

    void handle(Group::levelAttribute);
    void handle(Group::itemAttribute, ItemId const& key);
    ZelGroup& keeper(Group::itemAttribute) noexcept { return *this; }
    void handleInitialized();

  private:
    Zel::Name key_;
    Children children_;
};

class GroupSyncer::ZelGroup::ZelItem final : public ItemReactor<ZelItem, ZelGroup> {
  public:
    static Zel::TypeNode const _zelType;
    ZelItem(Zel::Ptr<Item const> const& item, ZelGroup* owner);
    ~ZelItem() override;
};

Zel::Ptr<GroupSyncer> groupSyncerFactory(Zel::Ptr<Record const> const& source,
                                         Zel::Ptr<Record> const& destination, Tape* tape = nullptr);

/// Mirrors the title and the revision of one record, by one handler. It has no child reactors, and
/// is kept under a name.
class RevisionSyncer final : public Zel::RootSyncer<RevisionSyncer, Record>,
                             public Zel::HashMember {
  public:
    static Zel::TypeNode const _zelType;
    class ZelSource;

    RevisionSyncer(Zel::Name name, Zel::Ptr<Record const> const& source,
                   Zel::Ptr<Record> const& destination);
    ~RevisionSyncer() override;

    Zel::Name const& fwkKey() const noexcept { return name_; }
    Zel::Ptr<Record> const& destination() const noexcept { return destination_; }
    void copyFrom(Record const& source);

  private:
    Zel::Name name_;
    Zel::Ptr<Record> destination_;
};

class RevisionSyncer::ZelSource final : public Zel::Reactor<ZelSource, Record, RevisionSyncer> {
  public:
    static Zel::TypeNode const _zelType;
    ZelSource(Zel::Ptr<Record const> const& source, RevisionSyncer* owner);
    ~ZelSource() override;

    void handle(Record::titleAttribute) { handleTitleAndRevision(); }
    void handle(Record::revisionAttribute) { handleTitleAndRevision(); }
    void handleTitleAndRevision() { owner()->copyFrom(*watched()); }
    void rebound() {
        if (!zelMarkedForDeletion())
            handleTitleAndRevision();
    }
};

/// Owns syncers, by their names.
class SyncerSet final : public Zel::Object<SyncerSet, Zel::PtrInterface> {
  public:
    static Zel::TypeNode const _zelType;
    using Syncers = Zel::KeyedReactors<Zel::HashMap<RevisionSyncer, Zel::Name, SyncerSet>>;

    SyncerSet();
    ~SyncerSet() override;
    Syncers& syncers() noexcept { return syncers_; }
    /// The syncer of that name; a new one if there is none. Throws NameInUseException, and changes
    /// nothing, where there is one with another source or destination.
    Zel::Ptr<RevisionSyncer> syncerIs(Zel::Name const& name, Zel::Ptr<Record const> const& source,
                                      Zel::Ptr<Record> const& destination);

  private:
    Syncers syncers_;
};

} // namespace Toy
