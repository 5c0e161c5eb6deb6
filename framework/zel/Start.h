#pragma once

namespace Zel {

/// What a counter that goes round begins with: 0; and few steps below its wrap, in the build that
/// is to show that nothing depends on where counters are. What a user is told of one is counted
/// from here. docs/counters.md has all counters.
template <class Count> constexpr Count counterStart() noexcept {
#ifdef VARNOL_COUNTERS_NEAR_WRAP
    return static_cast<Count>(Count{0} - Count{3});
#else
    return 0;
#endif
}

} // namespace Zel
