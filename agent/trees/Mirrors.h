#pragma once

#include "agent/trees/Time.h"
#include "framework/zel/Diff.h"
#include "framework/zel/Int.h"

#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Agent {

/// What is known of one mirroring that the library does.
struct MirrorState {
    std::string_view name;
    /// How often its syncers have written into the destination, in this process.
    Zel::U64 writes;
    /// When that was last; none while it never was.
    std::optional<Time> lastChange;
    /// What is different now of what is mirrored; empty when the trees are in step.
    Zel::Differences differences;
};

/// Looks after the mirrorings of a bridge. The library keeps no times: it is asked, after whatever
/// may have changed something, how much it has written.
class Mirrors {
  public:
    /// @param name      stays the caller's
    /// @param syncers   the names of the classes that write for it, without those nested in them
    /// @param compare   what is different now
    void add(std::string_view name, std::vector<std::string_view> syncers,
             std::function<Zel::Differences()> compare);

    /// Notes what has been written up to now.
    void notice(Time now);

    /// Compares the trees, and says what is known. Throws std::bad_alloc.
    std::vector<MirrorState> states() const;

  private:
    struct Mirror {
        std::string_view name;
        std::vector<std::string_view> syncers;
        std::function<Zel::Differences()> compare;
        Zel::U64 writes;
        std::optional<Time> lastChange;
    };

    static Zel::U64 writesOf(std::span<std::string_view const> syncers) noexcept;

    std::vector<Mirror> mirrors_;
};

} // namespace Agent
