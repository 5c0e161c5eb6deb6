#include "tools/trace/Ctf.h"

#include "tools/trace/Names.h"
#include "tools/trace/Text.h"

#include <algorithm>
#include <bit>
#include <ostream>
#include <string>

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

std::size_t laneCount(Trace const& trace) {
    std::size_t count = trace.lanes.size();
    for (BlockRecord const& block : trace.blocks)
        count = std::max(count, std::size_t{block.lane} + 1);
    return count;
}

U64 writeCtfStream(std::ostream& out, Trace const& trace, std::size_t lane) {
    const Names names(trace);
    const U64 latest = trace.latest();
    const Lane found = lane < trace.lanes.size() ? trace.lanes[lane] : Lane{};
    U64 count = 0;
    U64 first = latest;
    std::string events;
    for (BlockRecord const& block : trace.blocks) {
        if (block.lane != lane)
            continue;
        first = std::min(first, block.end);
        putBlock(events, names, block, block.end);
        ++count;
    }
    for (BlockRecord const& block : found.open) {
        putBlock(events, names, block, latest);
        ++count;
    }
    if (count == 0)
        return 0;

    std::string packet;
    constexpr U64 headSize = 2 * sizeof(U32) + 4 * sizeof(U64) + 2 * sizeof(U32);
    const U64 bits = (headSize + events.size()) * 8;
    put<U32>(packet, packetMagic);
    put<U32>(packet, 0);
    put<U64>(packet, first);
    put<U64>(packet, latest);
    put<U64>(packet, bits);
    put<U64>(packet, bits);
    put<U32>(packet, static_cast<U32>(lane));
    put<U32>(packet, static_cast<U32>(found.threadId));
    out.write(packet.data(), static_cast<std::streamsize>(packet.size()));
    out.write(events.data(), static_cast<std::streamsize>(events.size()));
    return count;
}

} // namespace TraceTool
