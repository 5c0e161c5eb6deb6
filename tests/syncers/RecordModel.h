#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

/// A BPDU information record, and what its syncer and its change counter are to do: numbers for
/// values, plain structures for objects.
namespace RecordModel {

using Number = std::uint32_t;

inline constexpr unsigned neighborAddr =
    0; // the places of the record's scalars are 258, 260, ..., 264
inline constexpr unsigned recordScalars = 6;
inline constexpr unsigned entryScalars = 13;
inline constexpr unsigned firstEntryScalar = 259;

constexpr unsigned recordAttribute(unsigned place) {
    return place == neighborAddr ? 258 : 259 + place;
}
constexpr unsigned recordPlace(unsigned attribute) {
    return attribute == 258 ? neighborAddr : attribute - 259;
}

struct Entry {
    std::array<Number, entryScalars> values{};
};
using EntryRef = std::shared_ptr<Entry>;

struct Record {
    std::array<Number, recordScalars> values{};
    std::map<unsigned, EntryRef> entries;

    EntryRef at(unsigned key) const {
        const auto found = entries.find(key);
        return found == entries.end() ? nullptr : found->second;
    }
};

/// What a syncer and a counter have in common: a reactor on the record, and one for each entry.
struct Reactor {
    EntryRef watched;
    EntryRef written; // of a syncer: the destination's entry
    bool active = true;
    bool zombie = false;
};

class Tree {
  public:
    virtual ~Tree() = default;

    void recordChanged(Record const& record, unsigned place) {
        if (source && source->record == &record && source->active && !source->zombie)
            scalarHandler(place);
    }
    void collectionChanged(Record const& record, unsigned key) {
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
            Reactor made;
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
    void sourceIs(Record const* record) {
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

    Record const* record() const { return source ? source->record : nullptr; }
    /// Which there may be without a record to watch.
    bool hasSourceReactor() const { return source.has_value(); }

    std::map<unsigned, Reactor> reactors;
    bool active = true;
    bool zombie = false;

  protected:
    struct Source {
        Record const* record;
        bool active = true;
        bool zombie = false;
    };

    virtual void scalarHandler(unsigned place) = 0;
    virtual void collectionHandler(unsigned key) = 0;
    virtual void entryHandler(Reactor& reactor, unsigned place) = 0;
    virtual void rebindHandlers() = 0;
    virtual void starts(unsigned key, Reactor& reactor) = 0;
    virtual void turns() {}

    void zombieIs(Reactor& reactor, bool on) {
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

class Syncer final : public Tree {
  public:
    Syncer(Record const* from, Record& to)
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
    void copy(unsigned key, Reactor& reactor) const {
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
            dest_.entries[key] = std::make_shared<Entry>();
        else
            dest_.entries.erase(key);
        ++destWrites;
    }
    void entryHandler(Reactor& reactor, unsigned place) override {
        if (reactor.written)
            reactor.written->values[place] = reactor.watched->values[place];
    }
    void rebindHandlers() override {
        for (unsigned place = 0; place < recordScalars; ++place)
            scalarHandler(place);
    }
    void starts(unsigned key, Reactor& reactor) override { copy(key, reactor); }

    Record& dest_;
};

class Counter final : public Tree {
  public:
    explicit Counter(Record const* from) {
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
    void entryHandler(Reactor&, unsigned) override { ++count; }
    void rebindHandlers() override { ++count; }
    void starts(unsigned, Reactor&) override {}
    void turns() override { ++count; }
};

} // namespace RecordModel
