#pragma once

#include "tests/model/Recorder.h"

#include <typeinfo>

/// What the tests of entities ask of an attribute.

/// Whether the mutator stores the value before it notifies, notifies once and with a null key, and
/// does the same when the value is stored again.
template <class E, class Accessor, class Mutator, class T>
void expectEachWriteStoresThenNotifies(Zel::Ptr<E> const& entity, Zel::AttributeId id,
                                       Accessor read, Mutator write, T const& value) {
    unsigned seen = 0;
    const auto recorder = watch<E>(entity, [&](E const& watched) {
        EXPECT_TRUE((watched.*read)() == value) << "notified before the value was stored";
        ++seen;
    });
    using Call = typename Recorder<E>::Call;
    EXPECT_FALSE((std::as_const(*entity).*read)() == value) << "the sample is the zero value";
    for (const char* when : {"a new value", "an equal value"}) {
        ((*entity).*write)(value);
        EXPECT_EQ(recorder->take(), (std::vector<Call>{{id, std::nullopt}})) << when;
        EXPECT_TRUE((std::as_const(*entity).*read)() == value) << when;
    }
    EXPECT_EQ(seen, 2U);
    recorder->notifierIs(nullptr);
}

/// Whether a row of a type's attribute table says just that.
inline void expectRow(Zel::AttributeInfo const& row, Zel::AttributeId id, std::string_view name,
                      Zel::AttributeKind kind, std::type_info const& valueType,
                      std::type_info const* keyType = nullptr) {
    EXPECT_EQ(row.id, id);
    EXPECT_EQ(row.name, name);
    EXPECT_EQ(row.kind, kind) << name;
    EXPECT_TRUE(*row.valueType == valueType) << name << " has type " << row.valueType->name();
    if (keyType && row.keyType)
        EXPECT_TRUE(*row.keyType == *keyType) << name << " has key " << row.keyType->name();
    else
        EXPECT_EQ(row.keyType, keyType) << name;
}
