#pragma once

#include "framework/zel/GenericIf.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What is different between two trees, through the generic attribute interface of their classes.
namespace Zel {

struct AttributeInfo;

/// One difference.
struct Difference {
    /// Where: as "txMstStatus[mst1].txMstPortStatus[Et1].txInfo[100].mstiN[0].flags"; empty for the
    /// roots themselves.
    std::string path;
    ///@{
    /// The values as text, or the child; absent where there is none on that side. What is under a
    /// child that only one side has is not listed.
    std::optional<std::string> left;
    std::optional<std::string> right;
    ///@}

    friend bool operator==(Difference const&, Difference const&) = default;
};

/// In the order of the paths: attributes as declared, keys ascending.
using Differences = std::vector<Difference>;

/// Everything that is different between two trees of one class, their keys included: attributes by
/// their values, elements by their keys and then by what they hold. A zero in a map of values is
/// the same as no entry, as it is to those who read it. Null is different from every object. Throws
/// RangeException for objects of different classes, or of one without the generic attribute
/// interface, and std::bad_alloc.
VARNOL_API Differences diff(PtrInterface const* left, PtrInterface const* right);

/// One line for each: "path: left != right", "(none)" for what is absent.
VARNOL_API std::string differencesText(Differences const& differences);

/// A comparison at work, for what is not compared attribute by attribute throughout. It knows the
/// path at which it stands.
class VARNOL_API TreeDiff {
  public:
    /// A side of a pair of elements: null where there is none.
    using Element = Value const*;
    /// Takes a pair of elements and the key that both have; one of the two may be missing.
    using Compare = std::function<void(Value const& key, Element left, Element right)>;

    /// Whether the objects' own keys are compared.
    enum Keys { withKeys, withoutKeys };
    /// Compares all attributes of two objects of one class, with or without the objects' own keys.
    /// Throws as diff().
    void objects(PtrInterface const& left, PtrInterface const& right, Keys keys = withKeys);

    /// Compares one attribute of two objects of one class, and all under it.
    void attribute(PtrInterface const& left, PtrInterface const& right,
                   AttributeInfo const& attribute);

    /// Pairs the elements of two attributes by their keys, ascending, and calls compare() for each
    /// pair, standing at the element.
    /// @param left, right  null for an object without any elements
    /// @param name         what the path calls the attribute
    void elements(PtrInterface const* left, AttributeId leftId, PtrInterface const* right,
                  AttributeId rightId, std::string_view name, Compare const& compare);

    /// Goes down to an element, does something there, and comes back.
    void at(std::string_view name, Value const& key, std::function<void()> const& there);

    /// A pair of elements: compared by what they hold, or missing on one side, unless the other is
    /// a zero.
    void element(Element left, Element right);

    /// A difference at the place where the comparison stands; nothing when there is none on either
    /// side.
    void found(Element left, Element right);

    /// What was found; to be called once, at the end.
    Differences take() noexcept { return std::move(differences_); }

  private:
    class Step;

    std::string path_;
    Differences differences_;
};

} // namespace Zel
