#include "framework/zel/GenericIf.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Strep.h"
#include "framework/zel/TypeNodeOf.h"

namespace Zel {
namespace {

GenericIf const* genericIf(PtrInterface const& object) noexcept {
    TypeNode const* const type = object.fwkType();
    return type ? type->genericIf() : nullptr;
}

GenericIfResult attributeOp(PtrInterface& object, bool writable, AttributeId attribute,
                            AttributeOp operation, Value& value, Value const& key) {
    GenericIf const* const of = genericIf(object);
    return of ? of->attributeOp(object, writable, attribute, operation, value, key)
              : GenericIfResult::notHandled;
}

std::unique_ptr<GenericIterator> iterator(PtrInterface& object, bool writable,
                                          AttributeId attribute) {
    GenericIf const* const of = genericIf(object);
    return of ? of->iterator(object, writable, attribute) : nullptr;
}

} // namespace

GenericIterator::~GenericIterator() = default;

GenericIfResult genericIfAttributeOp(PtrInterface& object, AttributeId attribute,
                                     AttributeOp operation, Value& value, Value const& key) {
    return attributeOp(object, true, attribute, operation, value, key);
}

GenericIfResult genericIfAttributeOp(PtrInterface const& object, AttributeId attribute,
                                     AttributeOp operation, Value& value, Value const& key) {
    return attributeOp(const_cast<PtrInterface&>(object), false, attribute, operation, value, key);
}

std::unique_ptr<GenericIterator> genericIfIterator(PtrInterface& object, AttributeId attribute) {
    return iterator(object, true, attribute);
}

std::unique_ptr<GenericIterator> genericIfIterator(PtrInterface const& object,
                                                   AttributeId attribute) {
    return iterator(const_cast<PtrInterface&>(object), false, attribute);
}

GenericIfResult genericIfConstructFromCtorArgs(TypeNode const& type, Ptr<PtrInterface>& place,
                                               std::span<Value const> args) {
    if (!type.genericIf() || !type.genericIf()->construct)
        return GenericIfResult::notHandled;
    place = type.genericIf()->construct(args);
    return GenericIfResult::done;
}

Value fwkKey(PtrInterface const& object) {
    GenericIf const* const of = genericIf(object);
    return of ? of->key(object) : Value();
}

String keyInfo(PtrInterface const& object) {
    GenericIf const* const of = genericIf(object);
    return of ? of->keyInfo(object) : String();
}

namespace detail {

void attributeRefused(TypeNode const& type, std::string_view attribute, std::string_view why) {
    throwRangeException(String("attribute ").merge(type.name(), "::", attribute, " ", why).c_str());
}

void otherType(String what, std::type_info const& expected, Value const& given) {
    throwRangeException(
        what.merge(" of type ", typeName(expected), ", not ", given.typeText()).c_str());
}

void otherArgumentCount(TypeNode const& type, std::size_t expected, std::size_t given) {
    throwRangeException(String("the number of arguments that ")
                            .merge(type.name(), " is constructed from is ",
                                   valueToStrep(U64{expected}), ", not ", valueToStrep(U64{given}))
                            .c_str());
}

void nullArgument(TypeNode const& type, std::string_view argument) {
    throwRangeException(
        String(type.name()).merge(" is constructed with ", argument, " that is not null").c_str());
}

} // namespace detail
} // namespace Zel
