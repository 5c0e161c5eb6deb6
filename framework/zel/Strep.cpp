#include "framework/zel/Strep.h"

#include <charconv>
#include <cstdlib>
#include <memory>

#include <cxxabi.h>

namespace Zel {
namespace {

String numberText(U64 value, int base) {
    char digits[20];
    const auto end = std::to_chars(digits, digits + sizeof(digits), value, base).ptr;
    return std::string_view(digits, static_cast<std::size_t>(end - digits));
}

} // namespace

String valueToStrep(Name const& value) { return value.stringValue(); }

String valueToStrep(String const& value) { return value; }

String valueToStrep(U64 value) { return numberText(value, 10); }

String valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type) {
    const String address =
        object ? "0x" + numberText(reinterpret_cast<std::uintptr_t>(object), 16) : String("null");
    return String().merge(typeName(type), "(", address, ")");
}

String typeName(std::type_info const& type) {
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, nullptr), &std::free);
    return name ? name.get() : type.name();
}

} // namespace Zel
