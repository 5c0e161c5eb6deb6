#include "tests/agent/bpdu/Frames.h"

namespace Frames {
namespace {

/// The frames that changes are made to.
struct Bases {
    std::vector<Octets> frames{frame(configuration), frame(notification), frame(rst)};
    std::size_t others = frames.size();

    /// MST BPDUs follow: of up to 4 records, and of about as many as there may be.
    Bases() {
        for (const std::size_t records : {0U, 1U, 2U, 3U, 4U, 63U, 64U, 65U, 66U})
            frames.push_back(frame(mstWith(records)));
    }

    Octets const& any(std::mt19937& engine) const {
        return frames[engine() % 2 == 0 ? engine() % others : engine() % frames.size()];
    }
};

/// Octets of which most values mean that a frame is refused, or taken as another kind.
constexpr std::array<std::size_t, 17> decisive{0,  5,  12, 13, 14, 15, 16, 17, 18,
                                               19, 20, 44, 45, 46, 52, 53, 54};

void change(Octets& octets, std::mt19937& engine) {
    constexpr std::array<U8, 12> values{0x00, 0x01, 0x02, 0x03, 0x04, 0x05,
                                        0x40, 0x50, 0x80, 0x81, 0xaa, 0xff};
    const auto place = [&] { return engine() % octets.size(); };
    constexpr std::array<U16, 5> types{0x8100, 0x88a8, 0x0800, 1500, 1501};
    switch (engine() % 9) {
    case 0:
        octets.resize(engine() % (octets.size() + 1));
        break;
    case 1:
        octets.resize(octets.size() + engine() % 64, static_cast<U8>(engine()));
        break;
    case 2:
        if (octets.size() >= 14) // the length counts all, or a little less or more
            put16(octets, 12, static_cast<U32>(octets.size() - 14 + engine() % 5 - 2));
        break;
    case 3:
        if (octets.size() > 54) // a Version 3 Length of whole records
            put16(octets, 53, static_cast<U32>(64 + 16 * (engine() % 70)));
        break;
    case 4:
        if (const std::size_t at = decisive[engine() % decisive.size()]; at < octets.size())
            octets[at] = values[engine() % values.size()];
        break;
    case 5:
        if (!octets.empty())
            octets[place()] ^= static_cast<U8>(1 << engine() % 8);
        break;
    case 6:
        if (!octets.empty())
            octets[place()] = static_cast<U8>(engine());
        break;
    case 7:
        if (octets.size() >= 14)
            put16(octets, 12, types[engine() % types.size()]);
        break;
    case 8:
        if (octets.size() >= 16)
            put16(octets, 14, 0xaaaa);
        break;
    }
}

} // namespace

Octets changed(std::mt19937& engine) {
    static const Bases bases;
    Octets octets = bases.any(engine);
    for (auto changes = engine() % 8; changes > 3; --changes)
        change(octets, engine);
    octets.shrink_to_fit();
    return octets;
}

} // namespace Frames
