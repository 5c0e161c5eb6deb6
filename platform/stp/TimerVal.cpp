#include "platform/stp/TimerVal.h"

#include "framework/zel/Trace.h"

#include <cstdio>

namespace Stp {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, TimerVal timer) {
    // 1/256 has eight decimals, 0.00390625.
    constexpr unsigned unit = 100'000'000 / TimerVal::unitsPerSecond;
    const unsigned seconds = timer.units() / TimerVal::unitsPerSecond;
    unsigned fraction = timer.units() % TimerVal::unitsPerSecond * unit;
    if (fraction == 0)
        return stream << seconds << "s";
    int decimals = 8;
    for (; fraction % 10 == 0; fraction /= 10)
        --decimals;
    char text[sizeof(".00390625s")];
    std::snprintf(text, sizeof(text), ".%0*us", decimals, fraction);
    return stream << seconds << static_cast<const char*>(text);
}

} // namespace Stp
