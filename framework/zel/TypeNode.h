#pragma once

#include "framework/zel/AllocTrack.h"
#include "framework/zel/Attribute.h"
#include "framework/zel/Start.h"

#include <atomic>
#include <span>
#include <string_view>

namespace Zel {

struct GenericIf;

/// What the framework knows of one class: its name, its attributes, how they are reached, and its
/// live objects.
///
/// Each class has one, `_zelType`, defined in a source file of its own and registered in the
/// class's source file, or both in the latter where no handler is to be spared what is generated:
///
///     constinit Zel::TypeNode const IntxInfo::_zelType =
///         Zel::typeNodeOf<IntxInfo>("Varnol::IntxInfo"); // TypeNodeOf.h
///     static const bool registered = Zel::typeNodeIs(IntxInfo::_zelType);
class TypeNode {
  public:
    /// @param genericIf  the class's generic attribute interface; null for none
    constexpr TypeNode(std::string_view name, std::span<AttributeInfo const> attributes,
                       GenericIf const* genericIf = nullptr) noexcept
        : name_(name)
        , attributes_(attributes)
        , genericIf_(genericIf) {}
    TypeNode(TypeNode const&) = delete;
    TypeNode& operator=(TypeNode const&) = delete;

    /// The qualified name of the class, as "Varnol::IntxInfo".
    std::string_view name() const noexcept { return name_; }
    /// The declared attributes in ascending order of their identifiers.
    std::span<AttributeInfo const> attributes() const noexcept { return attributes_; }
    /// The attribute of that identifier; null when there is none.
    AttributeInfo const* attribute(AttributeId id) const noexcept {
        for (AttributeInfo const& info : attributes_) {
            if (info.id == id)
                return &info;
        }
        return nullptr;
    }
    /// What the functions of GenericIf.h call; null when the class has no such interface.
    GenericIf const* genericIf() const noexcept { return genericIf_; }
    /// Where allocations of the class are recorded.
    AllocTrackTypeInfo::Slot& allocations() const noexcept { return allocations_; }
    /// How often objects of this class, a reactor's or a syncer's, have written into a destination.
    /// Writes that two threads make at the same time may be counted as one.
    U64 writes() const noexcept {
        return writes_.load(std::memory_order_relaxed) - counterStart<U64>();
    }
    /// Counts one more; see Writer.
    [[gnu::always_inline]] void writesInc() const noexcept {
        writes_.store(writes_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    /// What a binary trace calls the type; 0 until it is described there.
    std::atomic<U32>& traceId() const noexcept { return traceId_; }
    /// The type registered before this one; null for the first.
    TypeNode const* previous() const noexcept { return previous_; }

  private:
    friend VARNOL_API bool typeNodeIs(TypeNode const&) noexcept;

    std::string_view name_;
    std::span<AttributeInfo const> attributes_;
    GenericIf const* genericIf_;
    mutable AllocTrackTypeInfo::Slot allocations_;
    mutable std::atomic<U64> writes_{counterStart<U64>()};
    mutable std::atomic<U32> traceId_{0};
    mutable TypeNode const* previous_ = nullptr;
    mutable bool registered_ = false;
};

/// Registers a type; called once per class, from the static initialiser of its source file.
/// Registering a type again does nothing. @return true
VARNOL_API bool typeNodeIs(TypeNode const& type) noexcept;

/// The type registered last; the others follow by TypeNode::previous().
VARNOL_API TypeNode const* lastTypeNode() noexcept;

/// The registered type of that qualified name; null when there is none.
VARNOL_API TypeNode const* typeNode(std::string_view name) noexcept;

} // namespace Zel
