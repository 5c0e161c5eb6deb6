#include "agent/trees/RecordChanges.h"

#include "framework/zel/Attribute.h"

namespace Agent {
namespace {

template <class E>
void writeScalars(E const& source, E& dest, std::string const& prefix,
                  std::vector<FieldChange>& changes) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        if constexpr (Zel::ScalarAttribute<A>) {
            if (A::read(source) == A::read(dest))
                return;
            changes.push_back({prefix + std::string(A::name), valueText(A::read(dest)),
                               valueText(A::read(source))});
            A::write(dest, A::read(source));
        }
    });
}

std::string instanceText(Stp::BridgeSystemId instance) {
    return "mstiN(" + valueText(instance) + ")";
}

} // namespace

std::vector<FieldChange> writeChanges(Varnol::IntxInfo const& source,
                                      Varnol::IntxInfo::Ptr const& record) {
    std::vector<FieldChange> changes;
    writeScalars(source, *record, "", changes);
    for (auto const& entry : source.mstiN()) {
        const Stp::BridgeSystemId instance = entry->mstiId();
        const bool isNew = !record->mstiN(instance);
        std::vector<FieldChange> fields;
        writeScalars(*entry, *record->mstiNIs(instance),
                     instance == Stp::BridgeSystemId(0) ? "" : instanceText(instance) + ".",
                     fields);
        if (isNew)
            changes.push_back({instanceText(instance), "-", "added"});
        else
            changes.insert(changes.end(), fields.begin(), fields.end());
    }
    std::vector<Stp::BridgeSystemId> gone;
    for (auto const& entry : record->mstiN())
        if (!source.mstiN(entry->mstiId()))
            gone.push_back(entry->mstiId());
    for (const Stp::BridgeSystemId instance : gone) {
        record->mstiNDel(instance);
        changes.push_back({instanceText(instance), "added", "-"});
    }
    return changes;
}

} // namespace Agent
