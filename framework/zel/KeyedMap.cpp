#include "framework/zel/KeyedMap.h"

#include "framework/zel/Fatal.h"

#include <cstdio>
#include <string_view>

#include <cxxabi.h>

namespace Zel {

void mapFatal(const char* map, std::type_info const& ownerPointer, const char* what) noexcept {
    // A pointer's type is the class and '*' when readable, 'P' and the class when mangled.
    std::string_view owner = ownerPointer.name();
    if (const char* readable = abi::__cxa_demangle(owner.data(), nullptr, nullptr, nullptr)) {
        owner = readable;
        owner.remove_suffix(1);
    } else {
        owner.remove_prefix(1);
    }
    char text[512];
    std::snprintf(text, sizeof text, "%s of %.*s: %s", map, static_cast<int>(owner.size()),
                  owner.data(), what);
    fatal(text);
}

} // namespace Zel
