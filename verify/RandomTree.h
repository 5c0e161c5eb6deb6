#pragma once

#include "framework/zel/Value.h"
#include "verify/Verify.h"

#include <cstddef>
#include <string>
#include <typeinfo>

/// Random values, and random changes of trees whose classes are not known, through the generic
/// attribute interface.
namespace Verify {

/// One of the elements of an array or a span, which is not empty.
template <class List> auto const& oneOf(Run& run, List const& list) {
    return list[static_cast<std::size_t>(run.below(list.size()))];
}

/// Octets, among them control characters, such as are UTF-8 and such as are not.
/// @param limit  fewer than that many of the pieces from which it is made
std::string randomText(Run& run, U64 limit);

/// A double of any kind: a small number, an integer, or any bits that are a number or infinite.
double randomDouble(Run& run);

/// A value of one of the types that the attributes of the model have. Throws std::invalid_argument
/// for another type.
Zel::Value randomValue(Run& run, std::type_info const& type);

/// One of a few keys, so that the same ones are met again. Throws as randomValue().
Zel::Value randomKey(Run& run, std::type_info const& type);

/// Makes one change of the object or of what is under it: an attribute is written, or an element is
/// created or deleted.
/// @return what was done, as "TxMstStatus[mst1].txMstPortStatus[Et1] deleted"
std::string randomChange(Run& run, Zel::PtrInterface& object);

} // namespace Verify
