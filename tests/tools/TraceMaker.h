#pragma once

#include "framework/zel/Int.h"

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace TraceTool::Test {

using Zel::U16;
using Zel::U32;
using Zel::U64;
using Zel::U8;

/// Where things are, by the description in framework/fennic/TraceFormat.h; not by its structures,
/// so that a mistake in reading them shows.
namespace At {

constexpr std::size_t orderMark = 8, version = 12, headerSize = 16, clock = 20, memorySize = 24,
                      descriptorsOffset = 32, descriptorsSize = 36, ringOffset = 40,
                      recordSize = 44, ringCapacity = 48, nextSequence = 56, lostRecords = 64,
                      descriptorCount = 72, descriptorsMissing = 76, attachedAt = 80,
                      attachedAtRealtime = 88, processId = 96, lanesOffset = 100, laneCount = 104,
                      laneSize = 108, framesPerLane = 112, chunkSize = 116;

/// In a lane.
constexpr std::size_t threadId = 0, recordCount = 8, depth = 16, frames = 32;

/// In a record.
constexpr std::size_t sequence = 0, begin = 8, end = 16, entity = 24, messageId = 32,
                      attribute = 36, lane = 38, typeId = 40, recordDepth = 44, kind = 46,
                      entityKey = 48, key = 72;

} // namespace At

/// The sizes of a trace.
struct Sizes {
    U32 header = 128;
    U32 lanes = 2;
    U32 frames = 4;
    U32 laneMore = 0; ///< octets that a later version would use
    U32 descriptors = 2048;
    U32 record = 96;
    U32 chunk = 4;
    U64 places = 16;
};

struct Key {
    U8 kind = 0;
    U64 number = 0;
    std::string text;
};

inline Key number(U64 value) { return {1, value, {}}; }
inline Key text(std::string value) { return {2, 0, std::move(value)}; }

constexpr U8 handler = 0;
constexpr U8 reaction = 1;
constexpr U8 writing = 2;

/// What a block is and is about.
struct Block {
    U8 kind = handler;
    U32 message = 0;
    U64 entity = 0;
    U32 type = 0;
    Key entityKey;
    U16 attribute = 0;
    Key key;
};

/// Writes a trace into memory of its own, as a traced process does.
class TraceMaker {
  public:
    /// No process has this number.
    static constexpr U32 noProcess = 0x7fffffff;
    /// 2026-11-21 03:00:00 UTC.
    static constexpr U64 attachedAtRealtime = 1795230000'000'000'000;
    static constexpr U64 attachedAt = 5'000'000'000;

    explicit TraceMaker(Sizes const& sizes = {});

    U32 message(std::string_view text, std::string_view file = {}, U32 line = 0) {
        return descriptor(0, text, file, line);
    }
    U32 type(std::string_view name, std::string_view attributes = {}) {
        return descriptor(1, name, attributes, 0);
    }
    /// A block begins, so many nanoseconds after the trace was attached.
    void enter(unsigned lane, U64 at, Block const& block);
    /// The innermost block ends. @return its sequence
    U64 leave(unsigned lane, U64 at);
    /// What leave() does, step by step: a record marked as being written, then written.
    U64 beginLeaving(unsigned lane, U64 at);
    void endLeaving(unsigned lane, U64 sequence);

    std::vector<std::byte>& octets() { return octets_; }
    std::string text() const {
        return {reinterpret_cast<char const*>(octets_.data()), octets_.size()};
    }
    std::size_t laneAt(unsigned lane) const {
        return lanesOffset_ +
               lane * (At::frames + sizes_.frames * std::size_t{96} + sizes_.laneMore);
    }
    std::size_t frameAt(unsigned lane, unsigned depth) const {
        return laneAt(lane) + At::frames + depth * std::size_t{96};
    }
    std::size_t recordAt(U64 sequence) const {
        return ringOffset_ +
               static_cast<std::size_t>((sequence - 1) % sizes_.places * sizes_.record);
    }
    std::size_t descriptorAt(U32 id) const { return descriptorsAt_.at(id); }
    std::size_t ringAt() const { return ringOffset_; }
    template <class T> T get(std::size_t at) const;
    template <class T> void put(std::size_t at, T value);

  private:
    U32 descriptor(U32 kind, std::string_view text, std::string_view second, U32 line);
    void putKey(std::size_t at, Key const& key);

    struct LaneState {
        U64 next = 0;
        U64 chunkEnd = 0;
        U64 depth = 0;
    };

    Sizes sizes_;
    std::size_t lanesOffset_;
    std::size_t descriptorsOffset_;
    std::size_t ringOffset_;
    std::size_t descriptorsEnd_;
    std::vector<std::byte> octets_;
    std::vector<LaneState> lanes_;
    std::vector<std::size_t> descriptorsAt_;
};

/// A transmit tree being mirrored, on one lane, and a block of another lane; of a process that is
/// gone, which had two blocks open.
TraceMaker sample();

/// Blocks in sample().
constexpr std::size_t sampleFinished = 8;
constexpr std::size_t sampleOpen = 2;

} // namespace TraceTool::Test
