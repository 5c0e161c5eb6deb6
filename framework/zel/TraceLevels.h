#pragma once

/// The levels of trace handles, as an operator sets and reads them: by a text such as
///
///     Stp*/8,Varnol/3
///
/// that is pattern/level, once or several times with commas between them. A pattern is the name of
/// a handle in which each `*` stands for any octets or none; nothing else is special in it, and it
/// has no blanks, control characters or commas. The level is a digit n, which switches the levels 0
/// to n of each handle that the pattern matches on and the higher ones off; or `off`, which
/// switches all off. What is between the last slash and the comma is the level.
///
/// A setting holds for handles that are there and for those that come later. Settings of this
/// kind and those of traceLevelIs() are applied in the order in which they were made: the later one
/// wins. A setting that a later one makes void is forgotten, as `Stp*/8` by `Stp*/3` and by
/// `*/off`: settings that repeat take no more memory.
///
/// Every function may be called from any thread.

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"

#include <string>
#include <string_view>
#include <vector>

namespace Zel {

/// What was set for some handles. A set of levels has bit n for level n.
struct TraceSetting {
    /// The pattern, or the name that was given to traceLevelIs().
    std::string pattern;
    /// Whether the pattern is one handle's name, in which `*` is a character like others.
    bool isName;
    ///@{
    /// The levels that are switched on, and those that are switched off; the others are left.
    U32 on;
    U32 off;
    ///@}

    /// Whether it concerns handles of that name.
    VARNOL_API bool matches(std::string_view handle) const noexcept;

    friend bool operator==(TraceSetting const&, TraceSetting const&) = default;
};

/// Reads a text as described above and changes nothing. Throws Zel::RangeException, which says what
/// is wrong and at which octet, counted from 1; and std::bad_alloc.
VARNOL_API std::vector<TraceSetting> traceSettingsOf(std::string_view text);

/// Switches levels as the text says, all at once. Throws as traceSettingsOf(), and then has changed
/// nothing.
VARNOL_API void traceSettingsAre(std::string_view text);

/// What is set and not made void since, the oldest first. Throws std::bad_alloc.
VARNOL_API std::vector<TraceSetting> traceSettings();

/// A handle and the levels of it that are on.
struct TraceHandleLevels {
    std::string handle; ///< its name
    U32 on;             ///< bit n for level n

    friend bool operator==(TraceHandleLevels const&, TraceHandleLevels const&) = default;
};

/// The handles of which a statement has run, by name; those of one name that have the same levels
/// on are listed once. Throws std::bad_alloc.
VARNOL_API std::vector<TraceHandleLevels> traceHandles();

} // namespace Zel
