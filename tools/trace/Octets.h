#pragma once

/// Where a trace is read from: a file, or memory. Octets may change, appear and go away meanwhile.

#include "framework/zel/Int.h"

#include <cstddef>
#include <span>
#include <string>

namespace TraceTool {

using Zel::U16;
using Zel::U32;
using Zel::U64;
using Zel::U8;

class Octets {
  public:
    Octets() = default;
    Octets(Octets const&) = delete;
    Octets& operator=(Octets const&) = delete;
    virtual ~Octets() = default;

    /// How many there are now. Throws std::system_error.
    virtual U64 size() const = 0;
    /// Copies octets from an offset on. Throws std::system_error.
    /// @return how many: fewer than asked for only where there are no more
    virtual std::size_t read(U64 offset, std::span<std::byte> into) const = 0;
};

/// A file, read by system calls: one that is cut short meanwhile only has fewer octets.
class FileOctets final : public Octets {
  public:
    /// Throws std::system_error, which names the path, for what cannot be opened or is no regular
    /// file.
    explicit FileOctets(std::string const& path);
    ~FileOctets() override;
    U64 size() const override;
    std::size_t read(U64 offset, std::span<std::byte> into) const override;

  private:
    std::string path_;
    int descriptor_;
};

/// Memory, which has to outlive this object.
class MemoryOctets final : public Octets {
  public:
    explicit MemoryOctets(std::span<std::byte const> memory)
        : memory_(memory) {}
    U64 size() const override { return memory_.size(); }
    std::size_t read(U64 offset, std::span<std::byte> into) const override;

  private:
    std::span<std::byte const> memory_;
};

/// All octets from an offset on. The whole has to outlive this object.
class LaterOctets final : public Octets {
  public:
    LaterOctets(Octets const& whole, U64 offset)
        : whole_(whole)
        , offset_(offset) {}
    U64 size() const override;
    std::size_t read(U64 offset, std::span<std::byte> into) const override;

  private:
    Octets const& whole_;
    U64 offset_;
};

} // namespace TraceTool
