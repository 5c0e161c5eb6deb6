#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Name.h"

#include <typeinfo>

namespace Zel {

class PtrInterface;

/// Printable representations of values, for the texts of exceptions.
///@{
/// As it is, without quotes.
VARNOL_API String valueToStrep(Name const& value);
VARNOL_API String valueToStrep(String const& value);
///@}
/// In decimal.
VARNOL_API String valueToStrep(U64 value);

/// The class and the address of an object, as "Varnol::IntxInfo(0x55d0c0ffee00)"; the address is
/// "null" for none.
/// @param type  the class that the pointer is declared with
VARNOL_API String valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type);

/// The name of a class as it is written in the source, with its namespaces.
VARNOL_API String typeName(std::type_info const& type);

} // namespace Zel
