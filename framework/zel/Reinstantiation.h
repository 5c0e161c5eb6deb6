#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Ptr.h"
#include "framework/zel/Strep.h"

#include <string_view>
#include <typeinfo>

namespace Zel {

/// Throws the name-in-use exception for a keyed object that exists with another value of a
/// constructor parameter.
/// @param parameter  the parameter's name, as "source"
[[noreturn]] VARNOL_API void throwReinstantiation(std::string_view parameter, String const& value,
                                                  String const& current);

/// Lets an existing keyed object be used again only with the constructor parameters that it has.
/// Throws NameInUseException when the parameter's value differs from the current one.
template <class T>
void assertSameParameter(std::string_view parameter, Ptr<T> const& value, Ptr<T> const& current) {
    if (!(value == current))
        throwReinstantiation(parameter, valueToStrepOfRawPtr(value.ptr(), typeid(T)),
                             valueToStrepOfRawPtr(current.ptr(), typeid(T)));
}
/// The same for a value that the exception can print.
template <class T>
requires requires(T const& value) { valueToStrep(value); }
void assertSameParameter(std::string_view parameter, T const& value, T const& current) {
    if (!(value == current))
        throwReinstantiation(parameter, valueToStrep(value), valueToStrep(current));
}

} // namespace Zel
