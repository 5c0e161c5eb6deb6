#include "framework/zel/Exception.h"

#include "framework/zel/Fatal.h"

namespace Zel {

Exception::~Exception() = default;
RangeException::~RangeException() = default;
NameInUseException::~NameInUseException() = default;

void throwRangeException(const char* text) {
    if (!text)
        assertionFailed("text", "void Zel::throwRangeException(const char*)");
    throw RangeException(text);
}

void throwNameInUseException(String const& text) { throw NameInUseException(text.c_str()); }

void throwNullElementException(std::string_view owner, std::string_view attribute) {
    // The text ends with a double-quote character that nothing opens.
    throwRangeException(String("null _")
                            .merge(attribute, " parameter to mutator for ", owner, "::", attribute,
                                   " not allowed\"")
                            .c_str());
}

} // namespace Zel
