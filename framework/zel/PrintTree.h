#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/PtrInterface.h"

#include <string>

/// Trees as text, through the generic attribute interface of their classes: whatever has one is
/// printed with all that is under it, attributes in the order of declaration and keys ascending.
/// What an attribute only points at is named and not entered.
///
/// Both throw RangeException when a class in the tree has no such interface, and std::bad_alloc.
namespace Zel {

/// A line for each attribute, in steps of two blanks; control characters of the values appear as
/// '?'. What has elements has a line for each, with its key, and "name: {}" when there is none:
///
///     Varnol::TxStatus
///       txMstStatus[mst1]
///         txMstPortStatus[Et1]
///           intfId: Et1
///           txUpdate[10]: 5
///           txNewInfo: 0
///           txHelloWhenOn: 2s
///           txInfo: {}
///       heartbeatTimeout: 2.5
///
/// @param object  null is printed as "null"
VARNOL_API std::string treeText(PtrInterface const* object);

/// One JSON object (RFC 8259), on one line: the attributes by name, what has elements as an object
/// of them by the text of their key. Values as Value::jsonTo() says.
/// @param object  null is printed as null
VARNOL_API std::string treeJson(PtrInterface const* object);

} // namespace Zel
