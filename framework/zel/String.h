#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Fatal.h"
#include "framework/zel/Int.h"
#include "framework/zel/PtrInterface.h"

#include <atomic>
#include <compare>
#include <concepts>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace Zel {

/// Immutable text of any octets, shared by reference count: a copy allocates nothing, an empty
/// string owns nothing. Counted as Zel::Ptr counts (atomically while threadSafePointers_ is set).
class VARNOL_API String {
  public:
    constexpr String() noexcept = default;
    /// Throws std::bad_alloc, and std::length_error for more than 2^32 - 1 octets.
    String(std::string_view text);
    /// A null text fails an assertion.
    String(const char* text)
        : String(present(text)) {}
    String(String const& other) noexcept
        : body_(other.body_) {
        take();
    }
    String(String&& other) noexcept
        : body_(std::exchange(other.body_, nullptr)) {}
    String& operator=(String const& other) noexcept {
        if (body_ != other.body_)
            *this = String(other);
        return *this;
    }
    String& operator=(String&& other) noexcept {
        String taken(std::move(other));
        std::swap(body_, taken.body_);
        return *this;
    }
    ~String() { give(); }

    U32 size() const noexcept { return body_ ? body_->size : 0; } ///< in octets
    bool empty() const noexcept { return body_ == nullptr; }      ///< whether size() is 0
    /// The text, followed by a zero octet; valid while a string shares it.
    const char* c_str() const noexcept { return body_ ? text(body_) : ""; }
    std::string_view view() const noexcept { return {c_str(), size()}; } ///< good as c_str() is

    /// Appends all pieces in their order, with one allocation. A piece may be this string itself.
    template <std::convertible_to<std::string_view>... Piece> String& merge(Piece const&... piece) {
        return append({std::string_view(piece)...});
    }
    String& operator+=(std::string_view piece) { return append({piece}); } ///< as merge()

    operator std::string_view() const noexcept { return view(); } ///< as view()

    friend String operator+(String const& left, std::string_view right) { /// throws as merge()
        return String(left) += right;
    }
    friend String operator+(const char* left, String const& right) { /// throws as merge()
        return String().append({left, right.view()});
    }

    friend bool operator==(String const& left, String const& right) noexcept { /// octet by octet
        return left.body_ == right.body_ || left.view() == right.view();
    }
    friend bool operator==(String const& left, const char* right) noexcept { /// never null
        return left.view() == right;
    }
    /// Order of octets taken as unsigned, a prefix before what it begins.
    friend std::strong_ordering operator<=>(String const& left, String const& right) noexcept {
        return left.view() <=> right.view();
    }

  private:
    struct Body {
        // Of as many strings, 8 octets each. The 2^32nd of one text takes the count to 0, and with
        // one more the next that goes frees what others use: that takes 32 GiB of strings of one
        // text. There is no test for it, which every copy of a string would pay for.
        U32 references;
        U32 size;
    };

    static std::string_view present(const char* text) noexcept {
        if (!text) [[unlikely]]
            assertionFailed("text", "Zel::String::String(const char*)");
        return text;
    }
    static const char* text(Body const* body) noexcept {
        return reinterpret_cast<const char*>(body + 1);
    }
    static Body* newBody(std::size_t size);
    String& append(std::initializer_list<std::string_view> pieces);
    void take() const noexcept {
        if (body_)
            VFPtrInterface::countInc(std::atomic_ref(body_->references));
    }
    void give() noexcept {
        if (body_ && VFPtrInterface::countDec(std::atomic_ref(body_->references)) == 1)
            PtrInterface::zelMemFree(body_);
    }

    Body* body_ = nullptr;
};

} // namespace Zel
