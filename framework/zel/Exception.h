#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/String.h"

#include <stdexcept>

namespace Zel {

/// Base of the framework's exceptions; what() is the text given to the function that threw.
class VARNOL_API Exception : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~Exception() override;
};

/// An argument lies outside what a mutator takes (a null element, a value out of range).
class VARNOL_API RangeException : public Exception {
  public:
    using Exception::Exception;
    ~RangeException() override;
};

/// A keyed object exists already with other constructor parameters.
class VARNOL_API NameInUseException : public Exception {
  public:
    using Exception::Exception;
    ~NameInUseException() override;
};

///@{
/// Throws the exception of that name, with the text. A null text fails an assertion.
[[noreturn]] VARNOL_API void throwRangeException(const char* text);
[[noreturn]] VARNOL_API void throwNameInUseException(String const& text);
///@}

/// Throws the range exception for a null element given to the mutator of a collection.
/// @param owner      the qualified name of the class that has the mutator
/// @param attribute  the collection's name
[[noreturn]] VARNOL_API void throwNullElementException(std::string_view owner,
                                                       std::string_view attribute);

} // namespace Zel
