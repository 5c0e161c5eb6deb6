#pragma once

#include "framework/zel/String.h"

namespace Zel {

/// A string used as a key, as the name of an MST. Equal names have equal hashes.
class Name {
  public:
    Name() noexcept = default;
    ///@{
    /// From the text; throws what the constructors of String do.
    Name(String text) noexcept
        : text_(std::move(text)) {}
    Name(const char* text)
        : text_(text) {}
    Name(std::string_view text)
        : text_(text) {}
    ///@}

    ///@{
    /// The text, good for as long as the name.
    String const& stringValue() const noexcept { return text_; }
    std::string_view view() const noexcept { return text_.view(); }
    operator String const&() const noexcept { return text_; }
    ///@}

    /// FNV-1a over the octets, 32 bits.
    U32 hash() const noexcept {
        U32 hash = 2166136261;
        for (char octet : view())
            hash = (hash ^ static_cast<U8>(octet)) * 16777619;
        return hash;
    }

    ///@{
    /// As String compares: by octets taken as unsigned.
    friend bool operator==(Name const& left, Name const& right) noexcept {
        return left.text_ == right.text_;
    }
    friend std::strong_ordering operator<=>(Name const& left, Name const& right) noexcept {
        return left.text_ <=> right.text_;
    }
    ///@}

  private:
    String text_;
};

} // namespace Zel
