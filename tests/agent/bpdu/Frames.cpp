#include "tests/agent/bpdu/Frames.h"

#include <algorithm>

namespace Frames {

Octets joined(std::span<U8 const> first, std::span<U8 const> second) {
    Octets octets(first.size() + second.size());
    std::ranges::copy(second, std::ranges::copy(first, octets.begin()).out);
    return octets;
}

Octets frame(std::span<U8 const> bpdu) {
    constexpr std::array<U8, 17> header{
        0x01, 0x80, 0xc2, 0x00, 0x00, 0x00, // Destination Address
        0x00, 0x1c, 0x73, 0x41, 0x42, 0x43, // Source Address
        0x00, 0x00,                         // Length
        0x42, 0x42, 0x03,                   // DSAP, SSAP, Control
    };
    return withLength(joined(header, bpdu), static_cast<U32>(3 + bpdu.size()));
}

void put16(Octets& octets, std::size_t at, U32 number) {
    octets.at(at) = static_cast<U8>(number >> 8);
    octets.at(at + 1) = static_cast<U8>(number);
}

Octets withLength(Octets octets, U32 length) {
    put16(octets, 12, length);
    return octets;
}

Octets with(Octets octets, std::size_t at, unsigned value) {
    octets.at(at) = static_cast<U8>(value);
    return octets;
}

std::array<U8, 16> mstiOf(U16 instance) {
    std::array<U8, 16> record = msti;
    record[0] = static_cast<U8>(instance * 3);
    record[1] = static_cast<U8>((instance % 16) << 4 | (instance >> 8 & 0x0f));
    record[2] = static_cast<U8>(instance);
    record[8] = static_cast<U8>(instance + 1);
    record[12] = static_cast<U8>(instance + 2);
    record[13] = static_cast<U8>((15 - instance % 16) << 4);
    record[14] = static_cast<U8>((instance + 5) % 16 << 4);
    record[15] = static_cast<U8>(instance + 3);
    return record;
}

Octets mstWith(std::span<U16 const> instances) {
    Octets bpdu(mst.size() + msti.size() * instances.size());
    auto end = std::ranges::copy(mst, bpdu.begin()).out;
    for (const U16 instance : instances)
        end = std::ranges::copy(mstiOf(instance), end).out;
    put16(bpdu, 36, static_cast<U32>(64 + 16 * instances.size()));
    return bpdu;
}

Octets mstWith(std::size_t records) {
    std::vector<U16> instances;
    for (std::size_t i = 0; i < records; ++i)
        instances.push_back(static_cast<U16>(i + 1));
    return mstWith(instances);
}

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
