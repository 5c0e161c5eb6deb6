#include "framework/zel/Value.h"

#include "framework/zel/GenericIf.h"
#include "framework/zel/Strep.h"
#include "framework/zel/TypeNode.h"

#include <cmath>

namespace Zel {

constinit detail::ValueType const Value::objectType{
    &typeid(PtrInterface), nullptr, nullptr, nullptr, nullptr, nullptr};

namespace {

/// The length of the UTF-8 sequence that the text begins with (Unicode, table 3-7); 0 for none.
std::size_t sequenceLength(std::string_view text) noexcept {
    const auto octet = [&](std::size_t at) { return static_cast<U8>(text[at]); };
    const U8 lead = octet(0);
    if (lead < 0x80)
        return 1;
    const std::size_t length = lead < 0xc2   ? 0
                               : lead < 0xe0 ? 2
                               : lead < 0xf0 ? 3
                               : lead < 0xf5 ? 4
                                             : 0;
    if (length == 0 || text.size() < length)
        return 0;
    const U8 lowest = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    const U8 highest = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    if (octet(1) < lowest || octet(1) > highest)
        return 0;
    for (std::size_t at = 2; at < length; ++at) {
        if (octet(at) < 0x80 || octet(at) > 0xbf)
            return 0;
    }
    return length;
}

std::string_view typeNameOf(PtrInterface const& object) {
    TypeNode const* const type = object.fwkType();
    return type ? type->name() : "object";
}

void objectText(TraceStream& stream, PtrInterface const* object) {
    if (!object) {
        stream << "null";
        return;
    }
    stream << typeNameOf(*object) << keyInfo(*object);
}

} // namespace

namespace detail {

void signedText(TraceStream& stream, long long number) {
    if (number < 0)
        stream << "-" << U64{0} - static_cast<U64>(number);
    else
        stream << static_cast<U64>(number);
}

void doubleJson(TraceStream& stream, double number) {
    if (std::isfinite(number))
        stream << number;
    else
        stream << "\"" << number << "\"";
}

} // namespace detail

void jsonString(TraceStream& stream, std::string_view text) {
    static constexpr char hexadecimal[] = "0123456789abcdef";
    stream << "\"";
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        const U8 octet = static_cast<U8>(text[0]);
        if (length == 0)
            stream << "\\ufffd";
        else if (octet == '"' || octet == '\\')
            stream << "\\" << text.substr(0, 1);
        else if (octet < 0x20 || octet == 0x7f)
            stream << "\\u00" << std::string_view(hexadecimal + (octet >> 4), 1)
                   << std::string_view(hexadecimal + (octet & 0xf), 1);
        else
            stream << text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    stream << "\"";
}

bool Value::isZero() const {
    if (none() || isObject())
        return isObject() && !object_;
    return type_->zero(held_.get());
}

String Value::typeText() const {
    if (none())
        return "nothing";
    if (!isObject())
        return typeName(*type_->type);
    if (!object_)
        return "a null pointer";
    return String(writable_ ? "" : "const ").merge(typeNameOf(*object_));
}

std::string Value::text() const {
    TraceStream stream;
    stream << *this;
    return std::string(stream.text());
}

void Value::jsonTo(TraceStream& stream) const {
    if (none() || (isObject() && !object_)) {
        stream << "null";
    } else if (isObject()) {
        TraceStream text;
        objectText(text, object_.ptr());
        jsonString(stream, text.text());
    } else {
        type_->json(stream, held_.get());
    }
}

bool operator==(Value const& left, Value const& right) {
    if (left.none() || right.none())
        return left.none() == right.none();
    if (left.isObject() && right.isObject())
        return left.object_ == right.object_;
    return *left.type_->type == *right.type_->type &&
           left.type_->equal(left.held_.get(), right.held_.get());
}

bool operator<(Value const& left, Value const& right) {
    if (!left.none() && !right.none() && !left.isObject() &&
        *left.type_->type == *right.type_->type)
        return left.type_->less(left.held_.get(), right.held_.get());
    return left.text() < right.text();
}

TraceStream& operator<<(TraceStream& stream, Value const& value) {
    if (value.isObject())
        objectText(stream, value.object_.ptr());
    else if (!value.none())
        value.type_->text(stream, value.held_.get());
    return stream;
}

} // namespace Zel
