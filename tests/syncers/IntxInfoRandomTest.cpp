#include "bpdu/VarnolCommon.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/MirrorDiff.h"
#include "tests/framework/NothingLeft.h"
#include "tests/framework/Watcher.h"
#include "tests/model/TreeText.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Varnol {
namespace {

// ---- the model: numbers for values, plain structures for objects ----

using Number = std::uint32_t;

constexpr unsigned neighborAddr = 0; // the places of the record's scalars are 258, 260, ..., 264
constexpr unsigned recordScalars = 6;
constexpr unsigned entryScalars = 13;
constexpr unsigned firstEntryScalar = 259;

constexpr unsigned recordAttribute(unsigned place) {
    return place == neighborAddr ? 258 : 259 + place;
}
constexpr unsigned recordPlace(unsigned attribute) {
    return attribute == 258 ? neighborAddr : attribute - 259;
}

struct ModelEntry {
    std::array<Number, entryScalars> values{};
};
using EntryRef = std::shared_ptr<ModelEntry>;

struct ModelRecord {
    std::array<Number, recordScalars> values{};
    std::map<unsigned, EntryRef> entries;

    EntryRef at(unsigned key) const {
        const auto found = entries.find(key);
        return found == entries.end() ? nullptr : found->second;
    }
};

/// What a syncer and a counter have in common: a reactor on the record, and one for each entry.
struct ModelReactor {
    EntryRef watched;
    EntryRef written; // of a syncer: the destination's entry
    bool active = true;
    bool zombie = false;
};

class ModelTree {
  public:
    virtual ~ModelTree() = default;

    void recordChanged(ModelRecord const& record, unsigned place) {
        if (source && source->record == &record && source->active && !source->zombie)
            scalarHandler(place);
    }
    void collectionChanged(ModelRecord const& record, unsigned key) {
        if (!source || source->record != &record || !source->active)
            return;
        if (!source->zombie)
            collectionHandler(key);
        follow(key);
    }
    void entryChanged(EntryRef const& entry, unsigned key, unsigned place) {
        const auto found = reactors.find(key);
        if (found != reactors.end() && found->second.watched == entry && found->second.active &&
            !found->second.zombie)
            entryHandler(found->second, place);
    }
    void childIs(unsigned key, EntryRef const& entry) {
        auto found = reactors.find(key);
        if (found == reactors.end()) {
            ModelReactor made;
            made.watched = entry;
            if (!zombie)
                starts(key, made);
            found = reactors.emplace(key, made).first;
        } else if (found->second.watched == entry) {
            return;
        } else {
            found->second.watched = entry;
            for (unsigned place = 0; place < entryScalars && !found->second.zombie; ++place)
                entryHandler(found->second, place);
        }
        zombieIs(found->second, zombie);
    }
    void childDel(unsigned key) {
        const auto found = reactors.find(key);
        if (found == reactors.end())
            return;
        zombieIs(found->second, true);
        reactors.erase(found);
    }
    void childDelAll() {
        while (!reactors.empty())
            childDel(reactors.begin()->first);
    }
    void sourceIs(ModelRecord const* record) {
        if (!source) {
            if (record)
                source = Source{record, !zombie, zombie};
            return;
        }
        if (source->record == record)
            return;
        source->record = record;
        if (!record)
            return;
        if (!source->zombie)
            rebindHandlers();
        for (auto const& [key, entry] : record->entries)
            childIs(key, entry);
        dropStrangers();
    }
    void sourceDel() { source.reset(); }
    void activeIs(bool on) {
        if (on == active)
            return;
        active = on;
        if (source)
            source->active = on;
        for (auto& [key, reactor] : reactors)
            reactor.active = on;
    }
    void zombieIs(bool on) {
        if (on == zombie)
            return;
        if (source && source->zombie != on) {
            if (source->record)
                source->active = !on;
            source->zombie = on;
        }
        for (auto& [key, reactor] : reactors)
            zombieIs(reactor, on);
        zombie = on;
    }

    ModelRecord const* record() const { return source ? source->record : nullptr; }

    std::map<unsigned, ModelReactor> reactors;
    bool active = true;
    bool zombie = false;

  protected:
    struct Source {
        ModelRecord const* record;
        bool active = true;
        bool zombie = false;
    };

    virtual void scalarHandler(unsigned place) = 0;
    virtual void collectionHandler(unsigned key) = 0;
    virtual void entryHandler(ModelReactor& reactor, unsigned place) = 0;
    virtual void rebindHandlers() = 0;
    virtual void starts(unsigned key, ModelReactor& reactor) = 0;
    virtual void turns() {}

    void zombieIs(ModelReactor& reactor, bool on) {
        if (reactor.zombie == on)
            return;
        reactor.active = !on;
        turns();
        reactor.zombie = on;
    }
    void follow(unsigned key) {
        if (const EntryRef entry = source->record->at(key))
            childIs(key, entry);
        else
            childDel(key);
    }
    void dropStrangers() {
        for (auto at = reactors.begin(); at != reactors.end();) {
            const unsigned key = (at++)->first;
            if (!record()->at(key))
                childDel(key);
        }
    }

    std::optional<Source> source;
};

class ModelSyncer final : public ModelTree {
  public:
    ModelSyncer(ModelRecord const* from, ModelRecord& to)
        : dest_(to) {
        if (from)
            source = Source{from};
        for (unsigned place = 0; place < recordScalars; ++place)
            dest_.values[place] = from ? from->values[place] : 0;
        destWrites += recordScalars;
        if (from) {
            for (auto const& [key, entry] : from->entries)
                childIs(key, entry);
        }
        initialize();
    }

    void initialize() {
        const std::map<unsigned, EntryRef> none;
        auto const& entries = record() ? record()->entries : none;
        for (auto const& [key, entry] : entries) {
            collectionHandler(key);
            if (const auto found = reactors.find(key); found != reactors.end())
                copy(key, found->second);
        }
        if (dest_.entries.size() == entries.size())
            return;
        for (auto at = dest_.entries.begin(); at != dest_.entries.end();) {
            const unsigned key = (at++)->first;
            if (!entries.contains(key))
                collectionHandler(key);
        }
    }
    void copy(unsigned key, ModelReactor& reactor) const {
        reactor.written = dest_.at(key);
        if (reactor.written)
            reactor.written->values = reactor.watched->values;
    }

    /// Notifications of the destination record itself.
    std::uint64_t destWrites = 0;

  private:
    void scalarHandler(unsigned place) override {
        dest_.values[place] = record()->values[place];
        ++destWrites;
    }
    void collectionHandler(unsigned key) override {
        const bool wanted = record() && record()->at(key);
        if (wanted == dest_.entries.contains(key))
            return;
        if (wanted)
            dest_.entries[key] = std::make_shared<ModelEntry>();
        else
            dest_.entries.erase(key);
        ++destWrites;
    }
    void entryHandler(ModelReactor& reactor, unsigned place) override {
        if (reactor.written)
            reactor.written->values[place] = reactor.watched->values[place];
    }
    void rebindHandlers() override {
        for (unsigned place = 0; place < recordScalars; ++place)
            scalarHandler(place);
    }
    void starts(unsigned key, ModelReactor& reactor) override { copy(key, reactor); }

    ModelRecord& dest_;
};

class ModelCounter final : public ModelTree {
  public:
    explicit ModelCounter(ModelRecord const* from) {
        if (!from)
            return;
        source = Source{from};
        for (auto const& [key, entry] : from->entries)
            childIs(key, entry);
    }

    Number count = 1;

  private:
    void scalarHandler(unsigned) override { ++count; }
    void collectionHandler(unsigned) override {}
    void entryHandler(ModelReactor&, unsigned) override { ++count; }
    void rebindHandlers() override { ++count; }
    void starts(unsigned, ModelReactor&) override {}
    void turns() override { ++count; }
};

// ---- the values that the numbers stand for ----

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
    ASSERT_TRUE(Zel::dispatchAttribute<E>(attribute, [&](auto description) {
        using A = decltype(description);
        if constexpr (Zel::ScalarAttribute<A>)
            A::write(entity, valueOf<typename A::Value>(number));
        else
            ADD_FAILURE() << A::name << " is no scalar";
    }));
}

/// Whether the entity has just the values of the model.
template <class E, class Values>
void compareScalars(E const& entity, Values const& values, unsigned (*place)(unsigned)) {
    unsigned seen = 0;
    Zel::forEachAttribute<E>([&](auto description) {
        using A = decltype(description);
        if constexpr (Zel::ScalarAttribute<A>) {
            EXPECT_TRUE(A::read(entity) == valueOf<typename A::Value>(values.at(place(A::id))))
                << A::name;
            ++seen;
        }
    });
    EXPECT_EQ(seen, values.size());
}

void compare(IntxInfo const& record, ModelRecord const& model) {
    compareScalars(record, model.values, recordPlace);
    auto expected = model.entries.begin();
    for (Zel::Ptr<IntxMstiInfo const> const& entry : record.mstiN()) {
        ASSERT_NE(expected, model.entries.end());
        ASSERT_EQ(entry->mstiId().value(), expected->first);
        compareScalars(*entry, expected->second->values,
                       [](unsigned attribute) { return attribute - firstEntryScalar; });
        ++expected;
    }
    EXPECT_EQ(expected, model.entries.end());
}

// ---- both worlds, side by side ----

class World {
  public:
    explicit World(unsigned seed)
        : random_(seed) {
        for (Source& source : sources_)
            source.record = IntxInfo::Ptr(new IntxInfo(1));
        restartSyncer();
        restartCounter();
    }

    void step() {
        const unsigned choice = below(1000);
        if (choice < 350)
            writeEntry();
        else if (choice < 560)
            writeRecord();
        else if (choice < 700)
            createEntry();
        else if (choice < 820)
            deleteEntry();
        else if (choice < 880)
            replaceEntry();
        else if (choice < 920)
            writeStray();
        else if (choice < 960)
            disturbDestination();
        else
            disturbTrees();
    }

    void compareAll() {
        for (Source& source : sources_)
            compare(*source.record, source.model);
        compare(*dest_, destModel_);
        for (Stray& stray : strays_)
            compareScalars(*stray.entry, stray.model->values,
                           [](unsigned attribute) { return attribute - firstEntryScalar; });
        compareTree(*syncer_, *syncerModel_);
        compareTree(*counter_, *counterModel_);
        for (Zel::Ptr<IntxInfoSyncer::ZelMstiNSm> const& reactor : syncer_->children()) {
            EntryRef const& model = syncerModel_->reactors.at(reactor->mstiId().value()).written;
            ASSERT_EQ(reactor->dest() != nullptr, model != nullptr);
            if (model)
                compareScalars(*reactor->dest(), model->values,
                               [](unsigned attribute) { return attribute - firstEntryScalar; });
        }
        EXPECT_EQ(counter_->updatedFieldCount(), counterModel_->count);
        EXPECT_EQ(notices_, syncerModel_->destWrites + otherDestWrites_);
    }

    /// Whether the comparison of the syncer's records finds a difference just where there is one.
    /// @return whether there is one
    bool compareDiff() {
        const Zel::Ptr<IntxInfo const> source = syncer_->source();
        if (!source)
            return false;
        const bool equal = TreeText::contents(source) == TreeText::contents(dest_);
        EXPECT_EQ(mirrorDiff(*syncer_).empty(), equal);
        return !equal;
    }

    /// A new syncer leaves nothing different, whatever the destination is like.
    void becomesEqual() {
        const auto syncer = intxInfoSyncerFactory(sources_[0].record, dest_, 1, "");
        EXPECT_EQ(Zel::differencesText(mirrorDiff(*syncer)), "");
    }

  private:
    static constexpr unsigned keys = 8;

    struct Source {
        IntxInfo::Ptr record;
        ModelRecord model;
    };
    /// An entry that is in no record.
    struct Stray {
        IntxMstiInfo::Ptr entry;
        EntryRef model;
        unsigned key;
    };

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    Number number() { return below(8) == 0 ? 0 : static_cast<Number>(random_()); }
    Source& anySource() { return sources_[below(4) == 0 ? 1 : 0]; }

    static Zel::Ptr<IntxInfo const> recordOf(Source* source) {
        return source ? Zel::Ptr<IntxInfo const>(source->record) : nullptr;
    }

    void forBoth(auto const& action) {
        action(*syncerModel_);
        action(*counterModel_);
    }

    void writeRecord() {
        Source& source = anySource();
        const unsigned place = below(recordScalars);
        const Number value = number();
        source.model.values[place] = value;
        forBoth([&](ModelTree& tree) { tree.recordChanged(source.model, place); });
        write(*source.record, recordAttribute(place), value);
    }
    void writeEntry() {
        Source& source = anySource();
        const unsigned key = below(keys);
        const unsigned place = below(entryScalars);
        const Number value = number();
        const EntryRef model = source.model.at(key);
        const IntxMstiInfo::Ptr entry = source.record->mstiN(key16(key));
        ASSERT_EQ(entry != nullptr, model != nullptr);
        if (!model)
            return;
        model->values[place] = value;
        forBoth([&](ModelTree& tree) { tree.entryChanged(model, key, place); });
        write(*entry, firstEntryScalar + place, value);
    }
    void createEntry() {
        Source& source = anySource();
        const unsigned key = below(keys);
        source.record->mstiNIs(key16(key));
        if (source.model.at(key))
            return;
        source.model.entries[key] = std::make_shared<ModelEntry>();
        forBoth([&](ModelTree& tree) { tree.collectionChanged(source.model, key); });
    }
    void deleteEntry() {
        Source& source = anySource();
        const unsigned key = below(keys);
        const EntryRef model = source.model.at(key);
        const IntxMstiInfo::Ptr entry = source.record->mstiN(key16(key));
        source.record->mstiNDel(key16(key));
        if (!model)
            return;
        source.model.entries.erase(key);
        forBoth([&](ModelTree& tree) { tree.collectionChanged(source.model, key); });
        keepStray({entry, model, key});
    }
    void replaceEntry() {
        Source& source = anySource();
        Stray stray = takeStray();
        const EntryRef former = source.model.at(stray.key);
        const IntxMstiInfo::Ptr formerEntry = source.record->mstiNMemberIs(stray.entry);
        ASSERT_EQ(formerEntry != nullptr, former != nullptr);
        source.model.entries[stray.key] = stray.model;
        forBoth([&](ModelTree& tree) { tree.collectionChanged(source.model, stray.key); });
        if (former)
            keepStray({formerEntry, former, stray.key});
    }
    void writeStray() {
        if (strays_.empty())
            return;
        Stray const& stray = strays_[below(static_cast<unsigned>(strays_.size()))];
        const unsigned place = below(entryScalars);
        const Number value = number();
        stray.model->values[place] = value;
        forBoth([&](ModelTree& tree) { tree.entryChanged(stray.model, stray.key, place); });
        write(*stray.entry, firstEntryScalar + place, value);
    }
    /// An entry out of a record, or a new one.
    Stray takeStray() {
        if (!strays_.empty() && below(2) == 0) {
            const auto at = strays_.begin() + below(static_cast<unsigned>(strays_.size()));
            const Stray stray = *at;
            strays_.erase(at);
            return stray;
        }
        const unsigned key = below(keys);
        Stray stray{IntxMstiInfo::Ptr(new IntxMstiInfo(key16(key))), std::make_shared<ModelEntry>(),
                    key};
        const Number value = number();
        stray.model->values[3] = value;
        write(*stray.entry, firstEntryScalar + 3, value);
        return stray;
    }
    void keepStray(Stray const& stray) {
        if (strays_.size() == 16)
            strays_.erase(strays_.begin());
        strays_.push_back(stray);
    }

    void disturbDestination() {
        const unsigned key = below(keys);
        switch (below(5)) {
        case 0: {
            const unsigned place = below(recordScalars);
            const Number value = number();
            destModel_.values[place] = value;
            write(*dest_, recordAttribute(place), value);
            ++otherDestWrites_;
            break;
        }
        case 1:
            if (const EntryRef model = destModel_.at(key)) {
                const unsigned place = below(entryScalars);
                const Number value = number();
                model->values[place] = value;
                write(*dest_->mstiN(key16(key)), firstEntryScalar + place, value);
            }
            break;
        case 2:
            dest_->mstiNDel(key16(key));
            otherDestWrites_ += destModel_.entries.erase(key);
            break;
        case 3:
            dest_->mstiNIs(key16(key));
            if (!destModel_.at(key)) {
                destModel_.entries[key] = std::make_shared<ModelEntry>();
                ++otherDestWrites_;
            }
            break;
        default:
            copyRecord();
        }
    }
    void copyRecord() {
        Source const& source = anySource();
        copyIntxInfo(source.record, dest_);
        destModel_.values = source.model.values;
        otherDestWrites_ += recordScalars;
        for (auto const& [key, entry] : source.model.entries) {
            EntryRef& to = destModel_.entries[key];
            if (!to) {
                to = std::make_shared<ModelEntry>();
                ++otherDestWrites_;
            }
            to->values = entry->values;
        }
        otherDestWrites_ += std::erase_if(destModel_.entries, [&](auto const& entry) {
            return !source.model.entries.contains(entry.first);
        });
    }

    void disturbTrees() {
        if (below(2) == 0)
            disturb(*syncer_, *syncerModel_);
        else
            disturb(*counter_, *counterModel_);
    }
    template <class Tree, class Model> void disturb(Tree& tree, Model& model) {
        const unsigned key = below(keys);
        switch (below(14)) {
        case 0:
        case 1:
        case 2: {
            Source* const source = below(6) == 0 ? nullptr : &anySource();
            tree.sourceIs(recordOf(source));
            model.sourceIs(source ? &source->model : nullptr);
            break;
        }
        case 3:
            tree.sourceDel();
            model.sourceDel();
            tree.sourceIs(sources_[0].record);
            model.sourceIs(&sources_[0].model);
            break;
        case 4: {
            const bool on = below(4) != 0;
            tree.hasNotificationActiveIs(on);
            model.activeIs(on);
            break;
        }
        case 5: {
            const bool on = below(4) == 0;
            tree.zelDoZombieReactors(on);
            model.zombieIs(on);
            break;
        }
        case 6:
            tree.mstiNDel(key16(key));
            model.childDel(key);
            break;
        case 7:
            if (below(4) == 0) {
                tree.mstiNDelAll();
                model.childDelAll();
            }
            break;
        case 8: {
            Source& source = anySource();
            if (const EntryRef entry = source.model.at(key)) {
                tree.mstiNIs(source.record->mstiN(key16(key)));
                model.childIs(key, entry);
            }
            break;
        }
        case 9:
            sources_[0].record->notify(259);
            sources_[0].record->notify(265);
            sources_[1].record->notify(266);
            break;
        case 10:
            if (below(4) == 0) {
                tree.sourceDel();
                model.sourceDel();
            }
            break;
        default:
            disturbOwn(tree, model, key);
        }
    }
    void disturbOwn(IntxInfoSyncer& syncer, ModelSyncer& model, unsigned key) {
        switch (below(4)) {
        case 0:
            restartSyncer();
            break;
        case 1:
            if (const auto reactor = syncer.mstiN(key16(key))) {
                reactor->copyAllData();
                model.copy(key, model.reactors.at(key));
            }
            break;
        default:
            syncer.handleInitialized();
            model.initialize();
        }
    }
    void disturbOwn(IntxInfoChangeSm& counter, ModelCounter& model, unsigned) {
        switch (below(4)) {
        case 0:
            restartCounter();
            break;
        case 1:
            counter.incUpdatedFieldCount();
            ++model.count;
            break;
        default:
            // Often so near to the end that the count wraps.
            model.count = below(2) == 0 ? number() : 4294967295U - below(4);
            counter.updatedFieldCountIs(model.count);
        }
    }

    Source* sourceToStartWith() { return below(8) == 0 ? nullptr : &anySource(); }
    void restartSyncer() {
        Source* const source = sourceToStartWith();
        if (syncerModel_)
            otherDestWrites_ += syncerModel_->destWrites;
        syncer_ = nullptr;
        syncerModel_ = std::make_unique<ModelSyncer>(source ? &source->model : nullptr, destModel_);
        syncer_ = intxInfoSyncerFactory(recordOf(source), dest_, 1, "random");
    }
    void restartCounter() {
        Source* const source = sourceToStartWith();
        counter_ = intxInfoChangeSmFactory(recordOf(source), 1);
        counterModel_ = std::make_unique<ModelCounter>(source ? &source->model : nullptr);
    }

    template <class Tree, class Model> void compareTree(Tree& tree, Model const& model) {
        IntxInfo const* record = nullptr;
        for (Source const& source : sources_) {
            if (model.record() == &source.model)
                record = source.record.ptr();
        }
        EXPECT_EQ(tree.source().ptr(), record);
        EXPECT_EQ(tree.hasNotificationActive(), model.active);
        EXPECT_EQ(tree.zelMarkedForDeletion(), model.zombie);
        auto expected = model.reactors.begin();
        for (auto const& reactor : tree.children()) {
            ASSERT_NE(expected, model.reactors.end());
            ASSERT_EQ(reactor->mstiId().value(), expected->first);
            EXPECT_EQ(reactor->hasNotificationActive(), expected->second.active);
            EXPECT_EQ(reactor->zelMarkedForDeletion(), expected->second.zombie);
            EXPECT_EQ(reactor->owner(), &tree);
            compareScalars(*reactor->notifier(), expected->second.watched->values,
                           [](unsigned attribute) { return attribute - firstEntryScalar; });
            ++expected;
        }
        EXPECT_EQ(expected, model.reactors.end());
    }

    static Zel::U16 key16(unsigned key) { return static_cast<Zel::U16>(key); }

    std::mt19937 random_;
    std::array<Source, 2> sources_;
    IntxInfo::Ptr dest_{new IntxInfo(1)};
    ModelRecord destModel_;
    std::vector<Stray> strays_;
    std::uint64_t notices_ = 0;
    const Watcher::Ptr counting_ = watch(dest_, [this](auto...) { ++notices_; });
    std::uint64_t otherDestWrites_ = 0;
    IntxInfoSyncer::Ptr syncer_;
    std::unique_ptr<ModelSyncer> syncerModel_;
    IntxInfoChangeSm::Ptr counter_;
    std::unique_ptr<ModelCounter> counterModel_;
};

class IntxInfoRandom : public NothingLeft {};
WITH_BOTH_WAYS_OF_COUNTING(IntxInfoRandom);

// Over a million operations: each of the two ways of counting takes its own seeds.
TEST_P(IntxInfoRandom, RecordsSyncerAndCounterAreWhatTheModelSays) {
    constexpr unsigned batches = 2600;
    constexpr unsigned batch = 100;
    for (unsigned seed : GetParam() ? std::array{4U, 802U} : std::array{1U, 20260U}) {
        std::printf("seed %u, %u operations\n", seed, batches * batch);
        World world(seed);
        unsigned different = 0;
        for (unsigned done = 0; done < batches && !HasFailure(); ++done) {
            for (unsigned i = 0; i < batch; ++i)
                world.step();
            world.compareAll();
            different += world.compareDiff();
            if (HasFailure())
                ADD_FAILURE() << "seed " << seed << ", in batch " << done;
        }
        EXPECT_GT(different, 0U);
        EXPECT_LT(different, batches - 100);
        world.becomesEqual();
    }
}

} // namespace
} // namespace Varnol
