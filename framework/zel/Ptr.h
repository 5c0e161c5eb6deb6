#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace Zel {

/// Counted pointer to a framework object (anything with referenceInc() and referenceDec()).
///
/// Copying takes a reference; destruction and reassignment give one back. The pointer has its new
/// value before the old object is released, so an object's destructor never finds itself in it.
/// Ptr<T> converts to Ptr<T const> and to pointers to bases, and to nothing else.
template <class T> class Ptr {
  public:
    /// As the standard library's pointers have it.
    using element_type = T;

    constexpr Ptr() noexcept = default;
    /// Null.
    constexpr Ptr(std::nullptr_t) noexcept {}
    /// Takes a reference to the object; null for none.
    explicit Ptr(T* object) noexcept
        : object_(object) {
        take();
    }
    Ptr(Ptr const& other) noexcept
        : Ptr(other.object_) {}
    Ptr(Ptr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)) {}
    /// Takes a reference of its own.
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other)
    noexcept
        : Ptr(static_cast<T*>(other.ptr())) {}
    /// Takes the reference over; the other becomes null.
    template <class U>
    requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
    noexcept
        : object_(other.release()) {}

    ~Ptr() {
        if (object_)
            object_->referenceDec();
    }

    /// Gives the reference to the former object back, when the pointer has its new value.
    Ptr& operator=(Ptr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    /// Points at the object (null for none) and gives the reference to the former one back.
    void ptrAssign(T* object) noexcept { *this = Ptr(object); }

    ///@{
    /// The object, without a reference taken; null for none, whose members nobody may reach.
    T* ptr() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    ///@}
    /// Whether there is an object.
    explicit operator bool() const noexcept { return object_ != nullptr; }

    /// Hands the reference over to the caller and becomes null.
    [[nodiscard]] T* release() noexcept { return std::exchange(object_, nullptr); }

    ///@{
    /// Whether both are the same object, as bases and as const too, or both null.
    template <class U>
    requires requires(T* left, U* right) { left == right; }
    bool operator==(Ptr<U> const& other) const noexcept { return object_ == other.ptr(); }
    bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }
    ///@}

  private:
    void take() const noexcept {
        if (object_)
            object_->referenceInc();
    }

    T* object_ = nullptr;
};

/// Ptr(object) points at an object of the class that it is known as.
template <class T> Ptr(T*) -> Ptr<T>;

/// The same object seen as another class, or null when it is not of that class.
template <class T, class U> Ptr<T> ptrCast(Ptr<U> const& object) noexcept {
    return Ptr<T>(dynamic_cast<T*>(object.ptr()));
}

} // namespace Zel

template <class T> struct std::hash<Zel::Ptr<T>> {
    std::size_t operator()(Zel::Ptr<T> const& pointer) const noexcept {
        return std::hash<T*>{}(pointer.ptr());
    }
};
