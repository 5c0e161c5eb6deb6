#include "platform/stp/MstpConfigDigest.h"

#include "framework/zel/Trace.h"

namespace Stp {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, MstpConfigDigest const& digest) {
    static constexpr char digits[] = "0123456789abcdef";
    char text[2 * sizeof(digest.octets_) + 1];
    char* next = text;
    for (Zel::U8 octet : digest.octets_) {
        *next++ = digits[octet >> 4];
        *next++ = digits[octet & 0xf];
    }
    *next = '\0';
    return stream << static_cast<const char*>(text);
}

} // namespace Stp
