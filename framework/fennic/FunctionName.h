#pragma once

#include <cstddef>
#include <string_view>

namespace Fennic {

namespace detail {

constexpr bool isWordCharacter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

/// The position behind the character or string literal that begins at `at`.
constexpr std::size_t afterLiteral(std::string_view text, std::size_t at) noexcept {
    const char quote = text[at];
    for (++at; at < text.size() && text[at] != quote; ++at) {
        if (text[at] == '\\')
            ++at;
    }
    return at < text.size() ? at + 1 : text.size();
}

/// The position behind the bracket that closes the one at `at`. Within "()", "[]" and "{}" a '<' is
/// an operator, not a bracket.
constexpr std::size_t afterGroup(std::string_view text, std::size_t at) noexcept {
    const char open = text[at];
    const char close = open == '(' ? ')' : open == '[' ? ']' : open == '{' ? '}' : '>';
    ++at;
    while (at < text.size()) {
        const char c = text[at];
        if (c == close)
            return at + 1;
        if (c == '(' || c == '[' || c == '{' || (c == '<' && open == '<'))
            at = afterGroup(text, at);
        else if (c == '\'' || c == '"')
            at = afterLiteral(text, at);
        else
            at += text.substr(at).starts_with("->") ? 2 : 1;
    }
    return text.size();
}

/// What may follow a parameter list.
inline constexpr std::string_view qualifiers[] = {" const",    " volatile", " mutable",
                                                  " noexcept", " &&",       " &"};

/// The position behind the qualifiers behind a parameter list, as in "f() const &".
constexpr std::size_t afterQualifiers(std::string_view text, std::size_t at) noexcept {
    for (bool found = true; found;) {
        found = false;
        for (std::string_view word : qualifiers) {
            if (text.substr(at).starts_with(word)) {
                at += word.size();
                found = true;
            }
        }
    }
    return at;
}

/// The position behind the operator whose keyword ends at `at`; unchanged for a conversion.
constexpr std::size_t afterOperator(std::string_view text, std::size_t at) noexcept {
    const std::size_t begin = at;
    for (std::string_view word : {"()", "\"\" ", "\"\"", " new", " delete", " co_await"}) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with(word) &&
            (word[0] != ' ' || rest.size() == word.size() || !isWordCharacter(rest[word.size()]))) {
            at += word.size();
            break;
        }
    }
    if (text.substr(at).starts_with(" []"))
        ++at;
    while (at < text.size() &&
           std::string_view("<>=!+-*/%^&|~,[]").find(text[at]) != std::string_view::npos)
        ++at;
    if (at != begin && text.substr(at).starts_with(" <"))
        at = afterGroup(text, at + 1);
    return at;
}

/// Whether nothing but the end of a signature follows a parameter list.
constexpr bool endsSignature(std::string_view rest) noexcept {
    return rest.empty() || rest[0] == ')' || rest[0] == '[' || rest[0] == '(' ||
           rest.starts_with(" [") || rest.starts_with(" requires");
}

} // namespace detail

/// The qualified name in a function's signature as __PRETTY_FUNCTION__ gives it in g++ and clang:
/// the part left when the return type, the parameter list and all behind it are taken away.
///
///     "void Varnol::RxStatus::handle(Zel::String) const"   Varnol::RxStatus::handle
///     "T* V::Ptr<T>::operator->() [with T = V::S]"         V::Ptr<T>::operator->
///     "V::S::f() const::<lambda(int)>"                     V::S::f() const::<lambda(int)>
///
/// A class within a function is named by both compilers behind the function's parameter list, which
/// stays; so do the parameters that g++ writes into the name of a lambda.
constexpr std::string_view functionName(std::string_view signature) noexcept {
    std::size_t begin = 0;
    bool inConversion = false; // in the type that a conversion operator converts to
    for (std::size_t at = 0; at < signature.size();) {
        const char c = signature[at];
        if (detail::isWordCharacter(c)) {
            const std::size_t word = at;
            while (at < signature.size() && detail::isWordCharacter(signature[at]))
                ++at;
            if (signature.substr(word, at - word) == "operator") {
                const std::size_t after = detail::afterOperator(signature, at);
                inConversion = after == at;
                at = after;
            }
        } else if (c == '(') {
            const std::size_t after = detail::afterGroup(signature, at);
            const std::size_t next = detail::afterQualifiers(signature, after);
            const std::string_view rest = signature.substr(next);
            const bool ofConversion = inConversion && rest.starts_with('('); // part of its type
            if (rest.starts_with("::")) { // an anonymous scope, or a function around this one
                inConversion = inConversion && after - at > 2;
                at = next;
            } else if (!ofConversion && at > begin && detail::endsSignature(rest)) {
                return signature.substr(begin, at - begin);
            } else if (!ofConversion && (rest.starts_with('(') || rest.starts_with('['))) {
                begin = ++at; // the result is a function or an array: its declarator is around us
            } else {
                at = after; // within a type, as in "decltype (x)"
            }
        } else if (c == '<' || c == '[' || c == '{') {
            const std::size_t after = detail::afterGroup(signature, at);
            const std::size_t next = detail::afterQualifiers(signature, after);
            if (signature.substr(at).starts_with("<lambda(") &&
                detail::endsSignature(signature.substr(next)))
                return signature.substr(begin, after - begin);
            at = signature.substr(next).starts_with("::") ? next : after;
        } else {
            ++at;
            if ((c == ' ' || c == '*' || c == '&') && !inConversion)
                begin = at;
        }
    }
    return signature.substr(begin);
}

} // namespace Fennic
