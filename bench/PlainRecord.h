#pragma once

#include "bench/Values.h"

#include <map>

namespace Bench {

/// A record as plain structs. Its entries are nodes, so that pointers to them stay good, as in the
/// library.
struct PlainRecord {
    RecordValues values;
    std::map<U16, EntryValues> entries;
};

/// Makes one record equal to another, without an allocation while the instances are the same.
inline void copy(PlainRecord const& from, PlainRecord& to) {
    to.values = from.values;
    auto target = to.entries.begin();
    for (auto const& [instance, entry] : from.entries) {
        while (target != to.entries.end() && target->first < instance)
            target = to.entries.erase(target);
        if (target == to.entries.end() || target->first != instance)
            target = to.entries.emplace_hint(target, instance, entry);
        else
            target->second = entry;
        ++target;
    }
    to.entries.erase(target, to.entries.end());
}

inline PlainRecord plainRecord(unsigned instances) {
    PlainRecord record{recordValues(1), {}};
    for (unsigned i = 0; i < instances; ++i)
        record.entries.emplace(static_cast<U16>(i), entryValues(i));
    return record;
}
inline std::string text(PlainRecord const& record) {
    return text(0, record.values, record.entries);
}

/// The same record of the library's.
inline void fill(Varnol::IntxInfo& record, unsigned instances) {
    fill(record, recordValues(1));
    for (unsigned i = 0; i < instances; ++i)
        fill(*record.mstiNIs(static_cast<U16>(i)), entryValues(i));
}
inline Varnol::IntxInfo::Ptr libraryRecord(unsigned instances) {
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(0));
    fill(*record, instances);
    return record;
}

} // namespace Bench
