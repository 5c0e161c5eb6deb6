#include "platform/kolvu/IntfId.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Trace.h"

#include <charconv>
#include <optional>

namespace Kolvu {
namespace {

/// How the interfaces of a kind are called.
struct KindName {
    std::string_view shortName;
    std::string_view fullName;
};

constexpr KindName kindNames[] = {
    {"", ""},
    {"Et", "Ethernet"},
    {"Po", "Port-Channel"},
};

constexpr KindName kindName(IntfId::Kind kind) noexcept {
    return kindNames[static_cast<std::size_t>(kind)];
}

Zel::String nameOf(std::string_view kind, IntfId id) {
    if (id.kind() == IntfId::Kind::none)
        return {};
    char number[sizeof("255/65535")];
    char* end = number;
    if (id.module() != 0) {
        end = std::to_chars(end, std::end(number), id.module()).ptr;
        *end++ = '/';
    }
    end = std::to_chars(end, std::end(number), id.port()).ptr;
    return Zel::String(kind).merge(
        std::string_view(number, static_cast<std::size_t>(end - number)));
}

/// Takes the prefix away from the text; false when the text begins otherwise.
bool skip(std::string_view& text, std::string_view prefix) noexcept {
    if (!text.starts_with(prefix))
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

/// The number that the whole text is, in decimal without leading zeros.
template <class T> std::optional<T> decimal(std::string_view text) noexcept {
    T number;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || (text.size() > 1 && text.front() == '0'))
        return std::nullopt;
    return number;
}

std::optional<IntfId> parsed(std::string_view text) noexcept {
    using enum IntfId::Kind;
    const auto isKind = [&text](IntfId::Kind kind) {
        return skip(text, kindName(kind).fullName) || skip(text, kindName(kind).shortName);
    };
    if (isKind(portChannel)) {
        if (const auto number = decimal<U16>(text))
            return IntfId::portChannel(*number);
    } else if (isKind(ethernet)) {
        const auto slash = text.find('/');
        if (slash == text.npos) {
            if (const auto port = decimal<U16>(text))
                return IntfId::ethernet(*port);
        } else {
            const auto module = decimal<U8>(text.substr(0, slash));
            const auto port = decimal<U16>(text.substr(slash + 1));
            if (module.value_or(0) != 0 && port)
                return IntfId::ethernet(*module, *port);
        }
    }
    return std::nullopt;
}

} // namespace

IntfId IntfId::parse(std::string_view text) {
    const auto id = parsed(text);
    if (!id) {
        Zel::throwRangeException(
            Zel::String("\"")
                .merge(text, "\" is not an interface (as Et1, Ethernet1, Et3/1, Po1 or "
                             "Port-Channel1, with a module from 1 to 255 and a port from 0 to "
                             "65535)")
                .c_str());
    }
    return *id;
}

Zel::String IntfId::shortName() const { return nameOf(kindName(kind_).shortName, *this); }

Zel::TraceStream& operator<<(Zel::TraceStream& stream, IntfId id) {
    return stream << nameOf(kindName(id.kind_).fullName, id);
}

} // namespace Kolvu
