#pragma once

#include "tests/framework/Watcher.h"

#include <typeinfo>
#include <utility>

#include <gtest/gtest.h>

/// What the tests of entities ask of an attribute.

/// Whether the mutator stores the value before it notifies, notifies once and with a null key, and
/// does the same when the value is stored again.
template <class E, class Accessor, class Mutator, class T>
void expectEachWriteStoresThenNotifies(Zel::Ptr<E> const& entity, Zel::AttributeId id,
                                       Accessor read, Mutator write, T const& value) {
    SCOPED_TRACE(E::_zelType.attribute(id)->name);
    const auto holds = [&] { return (std::as_const(*entity).*read)() == value; };
    unsigned seen = 0;
    const auto watcher = watch(entity, [&](Zel::AttributeId notified, void const* key) {
        EXPECT_EQ(notified, id);
        EXPECT_EQ(key, nullptr);
        EXPECT_TRUE(holds()) << "notified before the value was stored";
        ++seen;
    });
    EXPECT_FALSE(holds()) << "the sample is the zero value";
    for (unsigned writes : {1U, 2U}) { // a new value, and an equal one
        ((*entity).*write)(value);
        EXPECT_EQ(seen, writes);
        EXPECT_TRUE(holds());
    }
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
