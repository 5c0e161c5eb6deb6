#pragma once

/// Who asks for memory, and who ends the program, in terms of what is whose in it.

#include "framework/zel/Int.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Whose the functions of the program are.
class Functions {
  public:
    enum class Owner {
        library,
        test,
        through, ///< does on behalf of its caller what it does; also what is not in the program
    };

    /// @param file  has a line for each function: its address and its end in the program, in
    ///              hexadecimal, and "library", "test" or "through"
    void read(char const* file);
    bool empty() const noexcept { return all_.empty(); }

    Owner at(std::uintptr_t address) const noexcept;
    /// An address as the file has it.
    std::uintptr_t inProgram(std::uintptr_t address) const noexcept { return address - base_; }

  private:
    struct Function {
        std::uintptr_t begin, end;
        Owner owner;
    };

    std::uintptr_t base_ = 0;
    std::vector<Function> all_;
};

/// The library's calls that lead to an allocation: their return addresses, from the innermost on to
/// where a test has called, or until there are enough to tell one from another.
struct Chain {
    static constexpr std::size_t length = 8;

    std::array<std::uintptr_t, length> callers{};
    std::size_t known = 0; ///< 0 where the library does not ask for the memory

    Zel::U64 hash() const noexcept;
};

/// Of the function that calls this one, within an operator new.
/// @param wanted  so many of the callers, at most
Chain chainOfCallers(Functions const& functions, std::size_t wanted) noexcept;

/// Within a terminate handler: where in the program the exception was that did not get out of
/// there, or where the end was asked for; 0 if that is not known.
std::uintptr_t placeOfEnd(Functions const& functions) noexcept;
