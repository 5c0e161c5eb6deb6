#include "tools/trace/Find.h"

#include "framework/fennic/TraceFormat.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace TraceTool {

std::vector<U64> findTraces(Octets const& octets) {
    using Fennic::FileHeader;
    constexpr std::size_t magicSize = sizeof FileHeader::magicText;
    std::array<std::byte, magicSize + sizeof FileHeader::orderMarkValue> wanted;
    std::memcpy(wanted.data(), FileHeader::magicText, magicSize);
    std::memcpy(wanted.data() + magicSize, &FileHeader::orderMarkValue,
                sizeof FileHeader::orderMarkValue);

    std::vector<U64> found;
    std::vector<std::byte> part(std::size_t{1} << 20);
    const U64 size = octets.size();
    for (U64 offset = 0; offset < size; offset += part.size() - (wanted.size() - 1)) {
        const std::size_t count = octets.read(offset, part);
        const auto end = part.begin() + static_cast<std::ptrdiff_t>(count);
        for (auto at = part.begin();; ++at) {
            at = std::search(at, end, wanted.begin(), wanted.end());
            if (at == end)
                break;
            found.push_back(offset + static_cast<U64>(at - part.begin()));
        }
        if (count < part.size())
            break;
    }
    return found;
}

} // namespace TraceTool
