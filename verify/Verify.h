#pragma once

#include "framework/zel/Int.h"

#include <random>
#include <stdexcept>
#include <string>

/// What the programs share that verify the library at length; see rows.py for what each is to show.
///
///   PROGRAM [--seed N] [--part N]
///
/// With a part, an N-th of the work is done, for the tests. The last line printed tells the figure
/// that was reached: "figure: 10,000,000 steps". Exit status: 0; 1 when something was found or the
/// figure was not reached; 2 wrong usage.
namespace Verify {

using Zel::U64;

/// What is found ends a program with its text.
struct Found : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Throws Found. @param what  so that it can be found again: step, operation, both values
[[noreturn]] void found(std::string const& what);

/// Throws Found where it does not hold. @param what  what is then found: what is wrong
inline void expect(bool holds, char const* what) {
    if (!holds) [[unlikely]]
        found(what);
}

class Run {
  public:
    U64 seed() const noexcept { return seed_; }
    /// The same numbers from the same seed, whatever the compiler; distributions of the standard
    /// library are not, so do without.
    std::mt19937_64& random() noexcept { return random_; }
    /// A number below the limit.
    U64 below(U64 limit) { return random_() % limit; }
    /// How often something is done that is to be done so often in the whole.
    U64 times(U64 whole) const noexcept { return (whole + part_ - 1) / part_; }
    bool isWhole() const noexcept { return part_ == 1; }

    /// Runs the program's work.
    /// @param work  returns the figure; throws Found
    /// @return the exit status
    static int main(int argc, char** argv, std::string (*work)(Run& run));

  private:
    U64 seed_ = 20'261'122;
    U64 part_ = 1;
    std::mt19937_64 random_{seed_};
};

/// "10,000,000"
std::string grouped(U64 number);

} // namespace Verify
