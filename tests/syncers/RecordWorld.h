#pragma once

#include "bpdu/VarnolCommon.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/MirrorDiff.h"
#include "tests/framework/Watcher.h"
#include "tests/model/TreeText.h"
#include "tests/syncers/Dice.h"
#include "tests/syncers/Disturbed.h"
#include "tests/syncers/Modelled.h"
#include "tests/syncers/RecordModel.h"

#include <type_traits>
#include <utility>

namespace RecordModel {

constexpr unsigned entryPlace(unsigned attribute) { return attribute - firstEntryScalar; }

template <class T> T valueOf(Number number) {
    const auto octet = [&](unsigned shift) { return static_cast<std::uint8_t>(number >> shift); };
    const auto low = static_cast<std::uint16_t>(number);
    const auto high = static_cast<std::uint16_t>(number >> 16);
    const Kolvu::EthAddr address(octet(0), octet(8), octet(16), octet(24), 0, octet(4));
    if constexpr (std::is_same_v<T, Kolvu::EthAddr>) {
        return address;
    } else if constexpr (std::is_same_v<T, Stp::BridgeId>) {
        return {low, high, address};
    } else if constexpr (std::is_same_v<T, Stp::PortId>) {
        return {octet(16), low};
    } else if constexpr (std::is_same_v<T, Stp::TimerVal>) {
        return Stp::TimerVal::units(low);
    } else if constexpr (std::is_same_v<T, Zel::String>) {
        return number == 0 ? Zel::String() : Zel::String(std::to_string(number));
    } else if constexpr (std::is_same_v<T, Stp::MstpConfigDigest>) {
        return T({octet(0), octet(8), octet(16), octet(24), 0, 0, 0, 0, 0, 0, 0, 0, 0, octet(2), 0,
                  octet(20)});
    } else if constexpr (std::is_same_v<T, Stp::PathCost>) {
        return number;
    } else if constexpr (sizeof(T) == sizeof low) {
        return T(low);
    } else {
        static_assert(sizeof(T) == 1);
        return T(octet(0));
    }
}

template <class E> void write(E& entity, unsigned attribute, Number number) {
    bool written = false;
    Zel::dispatchAttribute<E>(attribute, [&](auto description) {
        using A = decltype(description);
        if constexpr (Zel::ScalarAttribute<A>) {
            written = true;
            A::write(entity, valueOf<typename A::Value>(number));
        }
    });
    Modelled::holds(written, "attribute " + std::to_string(attribute) + " is a scalar");
}

/// Whether the entity has just the values of the model.
template <class E, class Values>
void compareScalars(E const& entity, Values const& values, unsigned (*place)(unsigned)) {
    unsigned seen = 0;
    Zel::forEachAttribute<E>([&](auto description) {
        using A = decltype(description);
        if constexpr (Zel::ScalarAttribute<A>) {
            if (A::read(entity) != valueOf<typename A::Value>(values.at(place(A::id))))
                throw Modelled::Difference(std::string(A::name) + " is not what the model says");
            ++seen;
        }
    });
    Modelled::holds(seen == values.size(), "the model has all scalars");
}

inline void compare(Varnol::IntxInfo const& record, Record const& model) {
    compareScalars(record, model.values, recordPlace);
    Modelled::holds(record.mstiN().members() == model.entries.size(),
                    "a record has the model's number of entries");
    auto expected = model.entries.begin();
    for (Zel::Ptr<Varnol::IntxMstiInfo const> const& entry : record.mstiN()) {
        Modelled::holds(entry->mstiId().value() == expected->first,
                        "a record's entries are in the order of their instances");
        compareScalars(*entry, expected->second->values, entryPlace);
        ++expected;
    }
}

} // namespace RecordModel

/// Two records, the record into which they are mirrored, the syncer that does it and a counter of
/// changes, beside their model: random changes of all of them.
class RecordWorld {
  public:
    explicit RecordWorld(Dice& dice)
        : dice_(dice) {
        for (Source& source : sources_)
            source.record = Varnol::IntxInfo::Ptr(new Varnol::IntxInfo(1));
        restartSyncer();
        restartCounter();
    }

    /// One operation, on both sides. Throws Modelled::Difference.
    /// @return whether there was anything to change; where not, that nothing changes is compared,
    /// too
    bool operate() {
        const unsigned choice = dice_.below(1000);
        if (choice < 350)
            return writeEntry();
        if (choice >= 880 && choice < 920)
            return writeStray();
        if (choice >= 960)
            return disturbTrees();
        if (choice >= 920)
            return disturbDestination();
        if (choice >= 560 && choice < 700)
            return createEntry();
        if (choice >= 700 && choice < 820)
            return deleteEntry();
        if (choice < 560)
            writeRecord();
        else
            replaceEntry();
        return true;
    }

    /// Compares the records, the syncer and the counter with the model, and what mirrorDiff() finds
    /// with what there is to find. Throws Modelled::Difference.
    void compare() {
        for (Source& source : sources_)
            RecordModel::compare(*source.record, source.model);
        RecordModel::compare(*dest_, destModel_);
        for (Stray& stray : strays_)
            RecordModel::compareScalars(*stray.entry, stray.model->values, RecordModel::entryPlace);
        compareTree(*counter_, *counterModel_);
        holds(counter_->updatedFieldCount() == counterModel_->count, "the counter has counted all");
        if (syncer_)
            compareSyncer();
        holds(notices_ == otherDestWrites_ + (syncer_ ? syncerModel_->destWrites : 0),
              "the destination was written as often as the model says");
    }

    /// What a new syncer leaves different, whatever the destination is like: nothing. Throws
    /// Modelled::Difference.
    void becomesEqual() {
        const auto syncer = Varnol::intxInfoSyncerFactory(sources_[0].record, dest_, 1, "");
        Modelled::same("the difference of the records",
                       Zel::differencesText(Varnol::mirrorDiff(*syncer)), "");
    }

    Varnol::IntxInfo::Ptr const& dest() const noexcept { return dest_; }

    unsigned different = 0; ///< comparisons in which source and destination differed
    Disturbed disturbed;    ///< the syncer and the counter

  private:
    static void holds(bool holds, char const* what) {
        if (!holds)
            throw Modelled::Difference(std::string("it does not hold that ") + what);
    }

    static constexpr unsigned keys = 8;

    struct Source {
        Varnol::IntxInfo::Ptr record;
        RecordModel::Record model;
    };
    /// An entry that is in no record.
    struct Stray {
        Varnol::IntxMstiInfo::Ptr entry;
        RecordModel::EntryRef model;
        unsigned key;
    };

    RecordModel::Number number() { return dice_.below(8) == 0 ? 0 : dice_.below(0xffffffff); }
    Source& anySource() { return sources_[dice_.below(4) == 0 ? 1 : 0]; }

    static Zel::Ptr<Varnol::IntxInfo const> recordOf(Source* source) {
        return source ? Zel::Ptr<Varnol::IntxInfo const>(source->record) : nullptr;
    }

    void forBoth(auto const& action) {
        if (syncerModel_)
            action(*syncerModel_);
        action(*counterModel_);
    }

    void writeRecord() {
        Source& source = anySource();
        const unsigned place = dice_.below(RecordModel::recordScalars);
        const RecordModel::Number value = number();
        source.model.values[place] = value;
        forBoth([&](RecordModel::Tree& tree) { tree.recordChanged(source.model, place); });
        RecordModel::write(*source.record, RecordModel::recordAttribute(place), value);
    }
    bool writeEntry() {
        Source& source = anySource();
        const unsigned key = dice_.below(keys);
        const unsigned place = dice_.below(RecordModel::entryScalars);
        const RecordModel::Number value = number();
        const RecordModel::EntryRef model = source.model.at(key);
        const Varnol::IntxMstiInfo::Ptr entry = source.record->mstiN(key16(key));
        holds((entry != nullptr) == (model != nullptr),
              "there is an entry where the model has one");
        if (!model)
            return false;
        model->values[place] = value;
        forBoth([&](RecordModel::Tree& tree) { tree.entryChanged(model, key, place); });
        RecordModel::write(*entry, RecordModel::firstEntryScalar + place, value);
        return true;
    }
    bool createEntry() {
        Source& source = anySource();
        const unsigned key = dice_.below(keys);
        source.record->mstiNIs(key16(key));
        if (source.model.at(key))
            return false;
        source.model.entries[key] = std::make_shared<RecordModel::Entry>();
        forBoth([&](RecordModel::Tree& tree) { tree.collectionChanged(source.model, key); });
        return true;
    }
    bool deleteEntry() {
        Source& source = anySource();
        const unsigned key = dice_.below(keys);
        const RecordModel::EntryRef model = source.model.at(key);
        const Varnol::IntxMstiInfo::Ptr entry = source.record->mstiN(key16(key));
        source.record->mstiNDel(key16(key));
        if (!model)
            return false;
        source.model.entries.erase(key);
        forBoth([&](RecordModel::Tree& tree) { tree.collectionChanged(source.model, key); });
        keepStray({entry, model, key});
        return true;
    }
    void replaceEntry() {
        Source& source = anySource();
        Stray stray = takeStray();
        const RecordModel::EntryRef former = source.model.at(stray.key);
        const Varnol::IntxMstiInfo::Ptr formerEntry = source.record->mstiNMemberIs(stray.entry);
        holds((formerEntry != nullptr) == (former != nullptr),
              "an entry is replaced where the model has one");
        source.model.entries[stray.key] = stray.model;
        forBoth([&](RecordModel::Tree& tree) { tree.collectionChanged(source.model, stray.key); });
        if (former)
            keepStray({formerEntry, former, stray.key});
    }
    bool writeStray() {
        if (strays_.empty())
            return false;
        Stray const& stray = strays_[dice_.below(static_cast<unsigned>(strays_.size()))];
        const unsigned place = dice_.below(RecordModel::entryScalars);
        const RecordModel::Number value = number();
        stray.model->values[place] = value;
        forBoth([&](RecordModel::Tree& tree) { tree.entryChanged(stray.model, stray.key, place); });
        RecordModel::write(*stray.entry, RecordModel::firstEntryScalar + place, value);
        return true;
    }
    /// An entry out of a record, or a new one.
    Stray takeStray() {
        if (!strays_.empty() && dice_.below(2) == 0) {
            const auto at = strays_.begin() + dice_.below(static_cast<unsigned>(strays_.size()));
            const Stray stray = *at;
            strays_.erase(at);
            return stray;
        }
        const unsigned key = dice_.below(keys);
        Stray stray{Varnol::IntxMstiInfo::Ptr(new Varnol::IntxMstiInfo(key16(key))),
                    std::make_shared<RecordModel::Entry>(), key};
        const RecordModel::Number value = number();
        stray.model->values[3] = value;
        RecordModel::write(*stray.entry, RecordModel::firstEntryScalar + 3, value);
        return stray;
    }
    void keepStray(Stray const& stray) {
        if (strays_.size() == 16)
            strays_.erase(strays_.begin());
        strays_.push_back(stray);
    }

    bool disturbDestination() {
        const unsigned key = dice_.below(keys);
        switch (dice_.below(5)) {
        case 0: {
            const unsigned place = dice_.below(RecordModel::recordScalars);
            const RecordModel::Number value = number();
            destModel_.values[place] = value;
            RecordModel::write(*dest_, RecordModel::recordAttribute(place), value);
            ++otherDestWrites_;
            break;
        }
        case 1:
            return writeDestinationsEntry(key);
        case 2: {
            dest_->mstiNDel(key16(key));
            const bool had = destModel_.entries.erase(key) != 0;
            otherDestWrites_ += had;
            return had;
        }
        case 3: {
            dest_->mstiNIs(key16(key));
            const bool isNew = Modelled::ensured(destModel_.entries, key);
            otherDestWrites_ += isNew;
            return isNew;
        }
        default:
            copyRecord();
        }
        return true;
    }
    bool writeDestinationsEntry(unsigned key) {
        const RecordModel::EntryRef model = destModel_.at(key);
        if (!model)
            return false;
        const unsigned place = dice_.below(RecordModel::entryScalars);
        const RecordModel::Number value = number();
        model->values[place] = value;
        RecordModel::write(*dest_->mstiN(key16(key)), RecordModel::firstEntryScalar + place, value);
        return true;
    }
    void copyRecord() {
        Source const& source = anySource();
        Varnol::copyIntxInfo(source.record, dest_);
        destModel_.values = source.model.values;
        otherDestWrites_ += RecordModel::recordScalars;
        for (auto const& [key, entry] : source.model.entries) {
            RecordModel::EntryRef& to = destModel_.entries[key];
            if (!to) {
                to = std::make_shared<RecordModel::Entry>();
                ++otherDestWrites_;
            }
            to->values = entry->values;
        }
        otherDestWrites_ += std::erase_if(destModel_.entries, [&](auto const& entry) {
            return !source.model.entries.contains(entry.first);
        });
    }

    bool disturbTrees() {
        if (dice_.below(2) == 0)
            return disturb(*counter_, *counterModel_);
        if (syncer_ && dice_.below(40) != 0)
            return disturb(*syncer_, *syncerModel_);
        if (syncer_) {
            dropSyncer();
            ++disturbed.dropped;
        } else {
            restartSyncer();
            ++disturbed.recreated;
        }
        return true;
    }
    template <class Tree, class Model> bool disturb(Tree& tree, Model& model) {
        const unsigned key = dice_.below(keys);
        switch (dice_.below(14)) {
        case 0:
        case 1:
        case 2: {
            Source* const source = dice_.below(6) == 0 ? nullptr : &anySource();
            RecordModel::Record const* const former = model.record();
            tree.sourceIs(recordOf(source));
            model.sourceIs(source ? &source->model : nullptr);
            const bool isOther = model.record() != former;
            disturbed.rebound += isOther && source;
            return isOther;
        }
        case 3:
            tree.sourceDel();
            model.sourceDel();
            tree.sourceIs(sources_[0].record);
            model.sourceIs(&sources_[0].model);
            break;
        case 4: {
            const bool on = dice_.below(4) != 0;
            const bool isOther = model.active != on;
            disturbed.paused += isOther && !on;
            tree.hasNotificationActiveIs(on);
            model.activeIs(on);
            return isOther;
        }
        case 5: {
            const bool on = dice_.below(4) == 0;
            const bool isOther = model.zombie != on;
            tree.zelDoZombieReactors(on);
            model.zombieIs(on);
            return isOther;
        }
        case 6: {
            const bool had = model.reactors.contains(key);
            tree.mstiNDel(key16(key));
            model.childDel(key);
            return had;
        }
        case 7: {
            if (dice_.below(4) != 0)
                return false;
            const bool had = !model.reactors.empty();
            tree.mstiNDelAll();
            model.childDelAll();
            return had;
        }
        case 8: {
            Source& source = anySource();
            const RecordModel::EntryRef entry = source.model.at(key);
            if (!entry)
                return false;
            const auto at = model.reactors.find(key);
            const bool isOther = at == model.reactors.end() || at->second.watched != entry;
            tree.mstiNIs(source.record->mstiN(key16(key)));
            model.childIs(key, entry);
            return isOther;
        }
        case 9: // what never changes, a collection without a key, no attribute: nobody acts on them
            sources_[0].record->notify(259);
            sources_[0].record->notify(265);
            sources_[1].record->notify(266);
            return false;
        case 10: {
            if (dice_.below(4) != 0)
                return false;
            const bool had = model.hasSourceReactor();
            tree.sourceDel();
            model.sourceDel();
            return had;
        }
        default:
            return disturbOwn(tree, model, key);
        }
        return true;
    }
    bool disturbOwn(Varnol::IntxInfoSyncer& syncer, RecordModel::Syncer& model, unsigned key) {
        switch (dice_.below(4)) {
        case 0:
            restartSyncer();
            ++disturbed.recreated;
            break;
        case 1: {
            const auto reactor = syncer.mstiN(key16(key));
            if (!reactor)
                return false;
            RecordModel::Reactor& modelled = model.reactors.at(key);
            const bool had = modelled.written != nullptr;
            reactor->copyAllData();
            model.copy(key, modelled);
            return had || modelled.written;
        }
        default: {
            const bool finds =
                (model.record() && !model.record()->entries.empty()) || !destModel_.entries.empty();
            syncer.handleInitialized();
            model.initialize();
            return finds;
        }
        }
        return true;
    }
    bool disturbOwn(Varnol::IntxInfoChangeSm& counter, RecordModel::Counter& model, unsigned) {
        switch (dice_.below(4)) {
        case 0:
            restartCounter();
            ++disturbed.recreated;
            break;
        case 1:
            counter.incUpdatedFieldCount();
            ++model.count;
            break;
        default:
            // Often so near to the end that the count wraps.
            model.count = dice_.below(2) == 0 ? number() : 4294967295U - dice_.below(4);
            counter.updatedFieldCountIs(model.count);
        }
        return true;
    }

    Source* sourceToStartWith() { return dice_.below(8) == 0 ? nullptr : &anySource(); }
    void dropSyncer() {
        if (syncerModel_)
            otherDestWrites_ += syncerModel_->destWrites;
        syncer_ = nullptr;
        syncerModel_.reset();
    }
    void restartSyncer() {
        Source* const source = sourceToStartWith();
        dropSyncer();
        syncerModel_ =
            std::make_unique<RecordModel::Syncer>(source ? &source->model : nullptr, destModel_);
        syncer_ = Varnol::intxInfoSyncerFactory(recordOf(source), dest_, 1, "random");
    }
    void restartCounter() {
        Source* const source = sourceToStartWith();
        counter_ = Varnol::intxInfoChangeSmFactory(recordOf(source), 1);
        counterModel_ = std::make_unique<RecordModel::Counter>(source ? &source->model : nullptr);
    }

    void compareSyncer() {
        compareTree(*syncer_, *syncerModel_);
        for (Zel::Ptr<Varnol::IntxInfoSyncer::ZelMstiNSm> const& reactor : syncer_->children()) {
            RecordModel::EntryRef const& model =
                syncerModel_->reactors.at(reactor->mstiId().value()).written;
            holds((reactor->dest() != nullptr) == (model != nullptr),
                  "a reactor has a destination where the model has one");
            if (model)
                RecordModel::compareScalars(*reactor->dest(), model->values,
                                            RecordModel::entryPlace);
        }
        // Whether the comparison of the records finds a difference just where there is one.
        const Zel::Ptr<Varnol::IntxInfo const> source = syncer_->source();
        if (!source)
            return;
        const bool equal = TreeText::contents(source) == TreeText::contents(dest_);
        holds(Varnol::mirrorDiff(*syncer_).empty() == equal,
              "the comparison of records finds a difference where there is one");
        different += !equal;
    }
    template <class Tree, class Model> void compareTree(Tree& tree, Model const& model) {
        Varnol::IntxInfo const* record = nullptr;
        for (Source const& source : sources_) {
            if (model.record() == &source.model)
                record = source.record.ptr();
        }
        holds(tree.source().ptr() == record, "a record's reactors have the source of the model");
        holds(tree.hasNotificationActive() == model.active &&
                  tree.zelMarkedForDeletion() == model.zombie,
              "a record's reactors are active or zombies as the model says");
        holds(tree.children().map().members() == model.reactors.size(),
              "there is a reactor for each entry of the model");
        auto expected = model.reactors.begin();
        for (auto const& reactor : tree.children()) {
            holds(reactor->mstiId().value() == expected->first &&
                      reactor->hasNotificationActive() == expected->second.active &&
                      reactor->zelMarkedForDeletion() == expected->second.zombie &&
                      reactor->owner() == &tree,
                  "the reactor of an entry is the model's");
            RecordModel::compareScalars(*reactor->notifier(), expected->second.watched->values,
                                        RecordModel::entryPlace);
            ++expected;
        }
    }

    static Zel::U16 key16(unsigned key) { return static_cast<Zel::U16>(key); }

    Dice& dice_;
    std::array<Source, 2> sources_;
    Varnol::IntxInfo::Ptr dest_{new Varnol::IntxInfo(1)};
    RecordModel::Record destModel_;
    std::vector<Stray> strays_;
    std::uint64_t notices_ = 0;
    const Watcher::Ptr counting_ = watch(dest_, [this](auto...) { ++notices_; });
    std::uint64_t otherDestWrites_ = 0;
    Varnol::IntxInfoSyncer::Ptr syncer_;
    std::unique_ptr<RecordModel::Syncer> syncerModel_;
    Varnol::IntxInfoChangeSm::Ptr counter_;
    std::unique_ptr<RecordModel::Counter> counterModel_;
};
