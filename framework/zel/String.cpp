#include "framework/zel/String.h"

#include "framework/zel/PtrInterface.h"

#include <atomic>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

namespace Zel {

String::Body* String::newBody(std::size_t size) {
    if (size > std::numeric_limits<U32>::max())
        throw std::length_error("Zel::String");
    Body* body =
        std::construct_at(static_cast<Body*>(PtrInterface::zelMemAlloc(sizeof(Body) + size + 1)));
    body->references = 1;
    body->size = static_cast<U32>(size);
    return body;
}

String::String(std::string_view octets) { append({octets}); }

String& String::append(std::initializer_list<std::string_view> pieces) {
    std::size_t added = 0;
    for (std::string_view piece : pieces)
        added += piece.size();
    if (added == 0)
        return *this;

    Body* joined = newBody(size() + added);
    char* end = reinterpret_cast<char*>(joined + 1);
    const auto copy = [&end](std::string_view piece) { end += piece.copy(end, piece.size()); };
    copy(view());
    for (std::string_view piece : pieces)
        copy(piece);
    *end = '\0';

    give();
    body_ = joined;
    return *this;
}

} // namespace Zel
