#pragma once

#include "framework/zel/Attribute.h"
#include "framework/zel/Value.h"

#include <memory>
#include <span>

/// The generic attribute interface: everything that an object has, reached by code that knows only
/// PtrInterface and the identifiers of its TypeNode.
///
/// A class offers it by a type node made with typeNodeOf() (TypeNodeOf.h), from the declarations of
/// its attributes. Values are read and written as they are everywhere: a write goes through the
/// attribute's mutator, and notifies. Not meant for hot paths; values are allocated.
///
/// What does not fit is a RangeException that names the attribute, and nothing is changed: a value
/// or key of another type, a key where there is none or none where there must be one, the write of
/// a key or of what has no mutator. What mutators throw passes through.
namespace Zel {

/// How an operation on an attribute ended.
enum class GenericIfResult : U8 {
    done = 0,
    absent = 1,     ///< there is no element under the key
    notHandled = 2, ///< the class has no attribute of that identifier
};

/// What is to be done with an attribute.
enum class AttributeOp : U8 {
    /// `value` becomes the attribute's; with a key, the value or the child under it. A collection
    /// or map as a whole is walked with genericIfIterator() instead.
    read,
    /// The attribute takes `value`. In a map, the entry under the key does. In a collection, the
    /// child under the key is created when there is none, and `value`, which is none before,
    /// becomes the child. Of child reactors, the one for the element that `value` points at is
    /// created, or bound to it; there is no key, and `value` becomes the reactor.
    write,
    /// The entry, the child or the child reactor under the key is removed.
    del,
};

/// Does something with one attribute of an object.
/// @param key  of the element, for a collection or a map of values; else none
VARNOL_API GenericIfResult genericIfAttributeOp(PtrInterface& object, AttributeId attribute,
                                                AttributeOp operation, Value& value,
                                                Value const& key = {});
/// The same of an object that may only be read: children are read-only too, and any operation but
/// reading throws RangeException.
VARNOL_API GenericIfResult genericIfAttributeOp(PtrInterface const& object, AttributeId attribute,
                                                AttributeOp operation, Value& value,
                                                Value const& key = {});

/// A walk over the elements of one attribute, in the order in which they stand there. It survives
/// every change, as MapWalk says, and holds the object. Requires: iterNonnull(), an
/// assertion, for all but itself.
class VARNOL_API GenericIterator {
  public:
    virtual ~GenericIterator();
    /// Whether the walk stands on an element, not at the end.
    virtual bool iterNonnull() const = 0;
    /// Goes on to the next element, or to the end.
    virtual void iterInc() = 0;
    /// The element's key, of the type that the attribute declares.
    virtual Value iterKey() const = 0;
    /// The child, the child reactor, or the entry's value.
    virtual Value iterObj() const = 0;
    /// Removes the element, through the deleter; the walk stays where it is until it goes on.
    /// Throws RangeException where the object may only be read.
    virtual void iterDel() = 0;
};

/// A walk over a collection, a map of values or child reactors; null when the class has no such
/// attribute.
VARNOL_API std::unique_ptr<GenericIterator> genericIfIterator(PtrInterface& object,
                                                              AttributeId attribute);
VARNOL_API std::unique_ptr<GenericIterator> genericIfIterator(PtrInterface const& object,
                                                              AttributeId attribute);

/// Builds an object of the class by calling its creator, and puts it at the place. An entity is
/// made with its key, if it has one; a root syncer as by its factory; a reactor is had from its
/// owner, with the entity and the owner as arguments: the one on a source by binding the owner to
/// that source, a child by the owner's child mutator.
///
/// Throws RangeException, and what the creator throws; the place is unchanged then. What the
/// creator requires is required here.
/// @param args  as the creator takes them, each of exactly its type
/// @return notHandled when the class offers no creator
VARNOL_API GenericIfResult genericIfConstructFromCtorArgs(TypeNode const& type,
                                                          Ptr<PtrInterface>& place,
                                                          std::span<Value const> args);

/// The object's key in the collection that it is made for; none when it has no key.
VARNOL_API Value fwkKey(PtrInterface const& object);
/// The key as text, in brackets: what the class itself says, or "[key]"; empty without a key.
VARNOL_API String keyInfo(PtrInterface const& object);

/// What a class registers with its type node; the functions above call these.
struct GenericIf {
    /// Of a const object only `read`, which leaves it alone. The object is of the class.
    using AttributeOpFunction = GenericIfResult(PtrInterface& object, bool writable,
                                                AttributeId attribute, AttributeOp operation,
                                                Value& value, Value const& key);

    /// Does what genericIfAttributeOp() does.
    AttributeOpFunction* attributeOp;
    /// Does what genericIfIterator() does.
    std::unique_ptr<GenericIterator> (*iterator)(PtrInterface& object, bool writable,
                                                 AttributeId attribute);
    /// Null when the class offers no creator.
    Ptr<PtrInterface> (*construct)(std::span<Value const> args);
    /// Does what Zel::fwkKey() does.
    Value (*key)(PtrInterface const& object);
    /// The key without its type, valid as long as the object; null when the class has no key.
    KeyView (*keyView)(PtrInterface const& object) noexcept;
    /// Does what Zel::keyInfo() does.
    String (*keyInfo)(PtrInterface const& object);
};

} // namespace Zel
