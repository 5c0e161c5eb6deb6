#pragma once

#include "framework/zel/Diff.h"

#include <optional>
#include <string>

/// Single faults in trees of unknown classes, made from the declarations of their attributes.
struct Fault {
    enum Kind { wrong, missing, surplus };

    Kind kind;
    /// The class of the object that has the attribute, as "Varnol::TxStatus", and the attribute.
    std::string object;
    std::string attribute;
    /// What a comparison with the tree as it was before should find.
    Zel::Difference difference;

    /// What is faulty, and how, without the keys: as "txMstStatus.txMstPortStatus.txNewInfo wrong".
    std::string text() const;
};

/// Plants one fault in a tree: numbers from 0 on give the faults one after the other. There is one
/// for each scalar and entry (a wrong value), for each child and entry (it is missing), and for
/// each collection and map (a child or entry is surplus).
/// @return the fault; none when there are not so many
std::optional<Fault> plantFault(Zel::PtrInterface& root, unsigned number);
