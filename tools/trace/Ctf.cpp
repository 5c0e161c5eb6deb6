#include "tools/trace/Ctf.h"

#include "tools/trace/Text.h"

#include <algorithm>
#include <bit>
#include <ostream>
#include <string>
#include <utility>

namespace TraceTool {
namespace {

constexpr U32 packetMagic = 0xc1fc1fc1;
constexpr U32 finishedEvent = 0;
constexpr U32 openEvent = 1;

template <class T> void put(std::string& to, T value) {
    to.append(reinterpret_cast<char const*>(&value), sizeof value);
}

void putText(std::string& to, std::string_view text) { to.append(text).push_back('\0'); }

void putBlock(std::string& to, Names const& names, BlockRecord const& block, U64 time) {
    put<U32>(to, block.end != 0 ? finishedEvent : openEvent);
    put<U64>(to, time);
    put<U64>(to, block.begin);
    if (block.end != 0) {
        put<U64>(to, block.end);
        put<U64>(to, block.end - block.begin);
    }
    put<U8>(to, static_cast<U8>(block.kind));
    put<U16>(to, block.depth);
    putText(to, names.actor(block));
    put<U64>(to, block.entity);
    putText(to, names.entityClass(block));
    putText(to, names.entityKey(block));
    putText(to, names.attribute(block));
    putText(to, names.key(block));
}

struct Packet {
    U32 lane;
    U32 thread;
    U64 first;
    U64 last;
    std::string events;
};

/// Writes the packet, and empties it.
void flush(std::ostream& out, Packet& packet) {
    std::string head;
    constexpr U64 headSize = 2 * sizeof(U32) + 4 * sizeof(U64) + 2 * sizeof(U32);
    const U64 bits = (headSize + packet.events.size()) * 8;
    put<U32>(head, packetMagic);
    put<U32>(head, 0);
    put<U64>(head, packet.first);
    put<U64>(head, packet.last);
    put<U64>(head, bits);
    put<U64>(head, bits);
    put<U32>(head, packet.lane);
    put<U32>(head, packet.thread);
    out.write(head.data(), static_cast<std::streamsize>(head.size()));
    out.write(packet.events.data(), static_cast<std::streamsize>(packet.events.size()));
    packet.events.clear();
}

// What putBlock() puts between the times and the end.
constexpr const char* blockFields = R"(
        enum : uint8_t { "handler" = 0, "reaction" = 1, "write" = 2 } kind;
        uint16_t depth;
        string actor;
        address_t entity;
        string class;
        string entity_key;
        string attribute;
        string key;)";

} // namespace

void writeCtfMetadata(std::ostream& out, Trace const& trace) {
    constexpr long long second = 1'000'000'000;
    const long long offset = std::max(realtime(trace, 0), 0LL);
    out << R"(/* CTF 1.8 */

typealias integer { size = 8; align = 8; signed = false; } := uint8_t;
typealias integer { size = 16; align = 8; signed = false; } := uint16_t;
typealias integer { size = 32; align = 8; signed = false; } := uint32_t;
typealias integer { size = 64; align = 8; signed = false; } := uint64_t;
typealias integer { size = 64; align = 8; signed = false; base = 16; } := address_t;

trace {
    major = 1;
    minor = 8;
    byte_order = )"
        << (std::endian::native == std::endian::little ? "le" : "be") << R"(;
    packet.header := struct {
        uint32_t magic;
        uint32_t stream_id;
    };
};

env {
    domain = "varnol";
    vpid = )"
        << trace.header.processId << R"(;
};

clock {
    name = monotonic;
    description = "CLOCK_MONOTONIC of the traced machine";
    freq = 1000000000;
    offset_s = )"
        << offset / second << R"(;
    offset = )"
        << offset % second << R"(;
};

typealias integer {
    size = 64; align = 8; signed = false;
    map = clock.monotonic.value;
} := time_t;

stream {
    id = 0;
    packet.context := struct {
        time_t timestamp_begin;
        time_t timestamp_end;
        uint64_t content_size;
        uint64_t packet_size;
        uint32_t lane;
        uint32_t thread;
    };
    event.header := struct {
        uint32_t id;
        time_t timestamp;
    };
};

event {
    name = "block";
    id = 0;
    stream_id = 0;
    fields := struct {
        uint64_t begin;
        uint64_t end;
        uint64_t duration;)"
        << blockFields << R"(
    };
};

event {
    name = "open";
    id = 1;
    stream_id = 0;
    fields := struct {
        uint64_t begin;)"
        << blockFields << R"(
    };
};
)";
}

U64 writeCtfStream(std::ostream& out, Trace const& trace, Names const& names, std::size_t lane,
                   std::vector<NestedBlock> const& blocks) {
    constexpr std::size_t packetSize = std::size_t{1} << 20;
    std::vector<BlockRecord const*> inOrder;
    inOrder.reserve(blocks.size());
    for (NestedBlock const& nested : blocks)
        inOrder.push_back(&nested.block);
    // As they ended, and then the open ones, outermost first.
    std::ranges::stable_sort(inOrder, {}, [](BlockRecord const* block) {
        return std::pair(block->end == 0, block->sequence);
    });

    const U64 latest = trace.latest();
    const U64 thread = lane < trace.lanes.size() ? trace.lanes[lane].threadId : 0;
    Packet packet{static_cast<U32>(lane), static_cast<U32>(thread), 0, 0, {}};
    for (BlockRecord const* const block : inOrder) {
        const U64 time = block->end != 0 ? block->end : latest;
        if (packet.events.empty())
            packet.first = time;
        packet.last = time;
        putBlock(packet.events, names, *block, time);
        if (packet.events.size() >= packetSize)
            flush(out, packet);
    }
    if (!packet.events.empty())
        flush(out, packet);
    return inOrder.size();
}

} // namespace TraceTool
