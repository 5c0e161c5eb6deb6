#pragma once

#include "model/IntxInfo.h"
#include "tests/model/TreeText.h"

#include <vector>

/// What the tests of records ask of them.

/// The names of a record's scalars, in the order in which they are written.
extern TreeText::Lines const scalarWrites;
/// The names of an entry's scalars, in the order in which they are written.
extern TreeText::Lines const entryAttributes;
/// The writes of all scalars of the entry of an instance, in their order, as "3/flags".
TreeText::Lines entryWrites(unsigned instance);

/// One after the other.
TreeText::Lines operator+(TreeText::Lines left, TreeText::Lines const& right);

/// The keys of a record's entries, in their order.
std::vector<unsigned> keysOf(Varnol::IntxInfo const& record);

/// Whether all scalars of two records, or of two entries, are equal.
void expectEqualScalars(Varnol::IntxInfo const& left, Varnol::IntxInfo const& right);
void expectEqualScalars(Varnol::IntxMstiInfo const& left, Varnol::IntxMstiInfo const& right);

/// Whether two records are equal but for their VLAN.
void expectEqualRecords(Varnol::IntxInfo const& left, Varnol::IntxInfo const& right);

/// Whether all scalars of a record, or of an entry, are zero.
void expectZeroScalars(Varnol::IntxInfo const& record);
void expectZeroScalars(Varnol::IntxMstiInfo const& entry);
