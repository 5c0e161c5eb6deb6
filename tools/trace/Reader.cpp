#include "tools/trace/Reader.h"

#include "tools/trace/LaneOrder.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <type_traits>

namespace TraceTool {
namespace {

using Fennic::Descriptor;
using Fennic::DescriptorKind;
using Fennic::FileHeader;
using Fennic::LaneHeader;

/// Octets that are read in one piece, at most.
constexpr U64 pieceSize = U64{1} << 20;

/// No record, and no lane, of a later writer is thought to be larger.
constexpr U64 largestRecord = U64{1} << 16;

/// The latest time, so that sums with the difference of two clocks do not overflow.
constexpr U64 latestTime = U64{1} << 62;

constexpr U64 markBits = BlockRecord::beingWritten;

std::string number(U64 value) { return std::to_string(value); }

/// An object out of octets, which may be fewer than it has: the others are 0.
template <class T> T objectAt(Octets const& octets, U64 offset, std::size_t* count = nullptr) {
    static_assert(std::is_trivially_copyable_v<T>);
    T object{};
    const std::size_t read = octets.read(offset, std::as_writable_bytes(std::span(&object, 1)));
    if (count)
        *count = read;
    return object;
}

template <class T> T objectIn(std::span<std::byte const> octets) {
    static_assert(std::is_trivially_copyable_v<T>);
    T object;
    std::memcpy(&object, octets.data(), sizeof object);
    return object;
}

/// Of `count` things of `size` octets each from an offset on, how many are there.
U64 howManyThere(U64 available, U64 offset, U64 count, U64 size) {
    return size == 0 || offset >= available ? 0 : std::min(count, (available - offset) / size);
}

bool sameTrace(FileHeader const& left, FileHeader const& right) {
    return std::memcmp(left.magic, right.magic, sizeof left.magic) == 0 &&
           left.orderMark == right.orderMark && left.version == right.version &&
           left.attachedAt == right.attachedAt &&
           left.attachedAtRealtime == right.attachedAtRealtime &&
           left.processId == right.processId && left.ringOffset == right.ringOffset &&
           left.ringCapacity == right.ringCapacity;
}

/// What a line of a class's descriptor says; false where it says nothing that can be.
bool readAttribute(std::string_view line, std::map<U16, Attribute>& attributes) {
    std::string_view fields[4];
    std::size_t count = 0;
    for (;;) {
        const auto tab = line.find('\t');
        fields[count++] = line.substr(0, tab);
        if (tab == line.npos)
            break;
        if (count == std::size(fields))
            return false;
        line.remove_prefix(tab + 1);
    }
    U16 id = 0;
    const char* const end = fields[0].data() + fields[0].size();
    const auto [stop, error] = std::from_chars(fields[0].data(), end, id);
    if (count < 3 || error != std::errc() || stop != end || id == 0 || fields[1].empty())
        return false;
    return attributes
        .try_emplace(
            id, Attribute{std::string(fields[1]), std::string(fields[2]), std::string(fields[3])})
        .second;
}

/// What is wrong with a block, whether it is finished or open; null for nothing.
const char* wrongIn(BlockRecord const& block, std::map<U32, Description> const& descriptions) {
    const auto isKey = [](KeyImage const& key) { return key.kind <= KeyImage::text; };
    if (block.begin == 0 || block.begin > latestTime)
        return "has an impossible time of its beginning";
    if (block.kind > BlockKind::write)
        return "is of an unknown kind";
    // A block that had no frame when it ended is recorded without its kind, as a handler.
    const auto actor = descriptions.find(block.messageId);
    if (block.messageId != 0 &&
        (actor == descriptions.end() ||
         (block.kind != BlockKind::handler && actor->second.kind != DescriptorKind::type)))
        return "names no such message or class";
    const auto type = descriptions.find(block.typeId);
    if (block.typeId != 0 &&
        (type == descriptions.end() || type->second.kind != DescriptorKind::type))
        return "is of an entity of an unknown class";
    if (!isKey(block.entityKey) || !isKey(block.key))
        return "has an unknown kind of key";
    return nullptr;
}

} // namespace

Reader::Reader(Octets const& octets)
    : octets_(octets) {
    std::size_t count = 0;
    header_ = objectAt<FileHeader>(octets, 0, &count);
    if (count < offsetof(FileHeader, headerSize) ||
        std::memcmp(header_.magic, FileHeader::magicText, sizeof header_.magic) != 0)
        throw Refused("not a trace");
    if (header_.orderMark == 0)
        throw Refused("a trace that is not ready to be read: its preparation was not finished");
    if (header_.orderMark == __builtin_bswap32(FileHeader::orderMarkValue))
        throw Refused("a trace of a machine with another octet order");
    if (header_.orderMark != FileHeader::orderMarkValue)
        throw Refused("not a trace: it has a wrong mark of its octet order");
    if (header_.version != FileHeader::currentVersion)
        throw Refused("a trace of version " + number(header_.version) +
                      "; this program reads version " + number(FileHeader::currentVersion));
}

Trace Reader::read() {
    Trace trace;
    std::size_t count = 0;
    const FileHeader now = objectAt<FileHeader>(octets_, 0, &count);
    available_ = octets_.size();
    if (count < sizeof now) {
        trace.header = header_;
        trace.damage.add("the trace ends within its header");
        return trace;
    }
    if (!sameTrace(now, header_))
        throw Refused("another trace has taken the place of this one");
    header_ = trace.header = now;
    checkSizes(trace);
    readLaneCounts(trace);
    readRing(trace);
    readFrames(trace);
    trace.header = objectAt<FileHeader>(octets_, 0);
    readDescriptions(trace);

    for (std::size_t lane = 0; lane < trace.lanes.size(); ++lane) {
        Lane& found = trace.lanes[lane];
        if (found.recordCount >= std::max(trace.header.nextSequence, U64{1})) {
            trace.damage.add("lane " + number(lane) +
                             ": its count of records is higher than that of the ring");
            found.recordCount = 0;
        }
        for (std::size_t depth = 0; depth < found.open.size(); ++depth) {
            BlockRecord const& frame = found.open[depth];
            const char* wrong = wrongIn(frame, trace.descriptions);
            if (frame.end != 0 || frame.sequence != 0)
                wrong = "has ended";
            else if (frame.lane != lane || frame.depth != depth)
                wrong = "has another lane or depth than its place";
            else if (depth > 0 && frame.begin < found.open[depth - 1].begin)
                wrong = "began before the one around it";
            if (!wrong)
                continue;
            trace.damage.add("lane " + number(lane) + ": open block " + number(depth) + " " +
                             wrong);
            found.open.resize(depth);
            break;
        }
    }
    std::erase_if(trace.blocks, [&](BlockRecord const& block) {
        const char* wrong = wrongIn(block, trace.descriptions);
        if (block.lane >= trace.header.laneCount)
            wrong = "is of a lane that there is not";
        else if (block.end < block.begin || block.end > latestTime)
            wrong = "has an impossible time of its end";
        if (wrong)
            leaveOut(trace, block, wrong);
        return wrong != nullptr;
    });
    putInOrder(trace, chunkSize_);
    return trace;
}

void Reader::checkSizes(Trace& trace) {
    FileHeader const& header = trace.header;
    const auto wrong = [&](std::string text) { trace.damage.add("header: " + std::move(text)); };
    if (header.headerSize < sizeof header)
        wrong("its size is " + number(header.headerSize) + " octets, fewer than " +
              number(sizeof header));
    if (header.clock != FileHeader::clockMonotonic)
        wrong("the clock " + number(header.clock) + " is not known");
    if (header.memorySize > available_)
        wrong("the trace has " + number(header.memorySize) + " octets, of which " +
              number(available_) + " are there");
    if (header.attachedAt > latestTime || header.attachedAtRealtime > latestTime ||
        header.attachedAt == 0)
        wrong("it was attached at an impossible time");

    readableLanes_ = readableFrames_ = 0;
    if (header.laneCount == 0 || header.laneCount > U64{std::numeric_limits<U16>::max()} + 1) {
        wrong(number(header.laneCount) + " lanes cannot be");
    } else if (header.laneSize < sizeof(LaneHeader)) {
        wrong("lanes of " + number(header.laneSize) + " octets cannot be");
    } else {
        readableLanes_ =
            howManyThere(available_, header.lanesOffset, header.laneCount, header.laneSize);
        readableFrames_ = std::min(U64{header.framesPerLane},
                                   (header.laneSize - sizeof(LaneHeader)) / sizeof(BlockRecord));
        if (readableLanes_ < header.laneCount)
            wrong("of " + number(header.laneCount) + " lanes " + number(readableLanes_) +
                  " are there");
        if (readableFrames_ < header.framesPerLane)
            wrong("a lane has no room for " + number(header.framesPerLane) + " frames");
    }

    readableDescriptorsSize_ =
        howManyThere(available_, header.descriptorsOffset, header.descriptorsSize, 1);
    if (readableDescriptorsSize_ < header.descriptorsSize)
        wrong("of the descriptors' " + number(header.descriptorsSize) + " octets " +
              number(readableDescriptorsSize_) + " are there");

    readablePlaces_ = 0;
    if (header.recordSize < sizeof(BlockRecord) || header.recordSize > largestRecord) {
        wrong("records of " + number(header.recordSize) + " octets cannot be");
    } else if (header.ringCapacity == 0) {
        wrong("a ring without places cannot be");
    } else {
        readablePlaces_ =
            howManyThere(available_, header.ringOffset, header.ringCapacity, header.recordSize);
        if (readablePlaces_ < header.ringCapacity)
            wrong("of the ring's " + number(header.ringCapacity) + " places " +
                  number(readablePlaces_) + " are there");
    }
    chunkSize_ = header.chunkSize;
    if (chunkSize_ == 0 || header.ringCapacity % chunkSize_ != 0) {
        wrong("chunks of " + number(chunkSize_) + " places cannot be");
        chunkSize_ = 1;
    } else if (header.nextSequence % chunkSize_ != 1 % chunkSize_) {
        wrong("the next number of a record, " + number(header.nextSequence) +
              ", is not the first of a chunk");
    }

    struct Extent {
        const char* name;
        U64 begin;
        U64 size;
    };
    Extent extents[] = {
        {"the header", 0, std::max<U64>(header.headerSize, sizeof header)},
        {"the lanes", header.lanesOffset, U64{header.laneCount} * header.laneSize},
        {"the descriptors", header.descriptorsOffset, header.descriptorsSize},
        {"the ring", header.ringOffset, readablePlaces_ * header.recordSize},
    };
    std::ranges::sort(extents, {}, &Extent::begin);
    for (std::size_t i = 0; i < std::size(extents); ++i) {
        Extent const& extent = extents[i];
        if (extent.begin + extent.size > header.memorySize)
            wrong(std::string(extent.name) + " goes beyond the trace's " +
                  number(header.memorySize) + " octets");
        if (i > 0 && extent.size > 0 && extents[i - 1].begin + extents[i - 1].size > extent.begin)
            wrong(std::string(extents[i - 1].name) + " and " + extent.name + " overlap");
    }
}

void Reader::readLaneCounts(Trace& trace) const {
    trace.lanes.resize(static_cast<std::size_t>(readableLanes_));
    for (std::size_t i = 0; i < trace.lanes.size(); ++i) {
        const U64 offset = header_.lanesOffset + U64{i} * header_.laneSize;
        trace.lanes[i].recordCount = objectAt<LaneHeader>(octets_, offset).recordCount;
    }
}

void Reader::readFrames(Trace& trace) const {
    constexpr int mostTries = 8;
    for (std::size_t i = 0; i < trace.lanes.size(); ++i) {
        const U64 offset = header_.lanesOffset + U64{i} * header_.laneSize;
        Lane& lane = trace.lanes[i];
        // A frame that is the same in two readings, and within the depth of both, was open between.
        std::vector<BlockRecord> earlier;
        bool twice = false;
        for (int tries = 0; tries < mostTries && !twice; ++tries) {
            const auto header = objectAt<LaneHeader>(octets_, offset);
            std::vector<BlockRecord> frames(
                static_cast<std::size_t>(std::min(header.depth, readableFrames_)));
            const std::size_t octets =
                octets_.read(offset + sizeof header, std::as_writable_bytes(std::span(frames)));
            frames.resize(octets / sizeof(BlockRecord));
            const auto same = [](BlockRecord const& left, BlockRecord const& right) {
                return std::memcmp(&left, &right, sizeof left) == 0;
            };
            const auto common = static_cast<std::size_t>(
                std::ranges::mismatch(earlier, frames, same).in1 - earlier.begin());
            twice = tries > 0 && common == earlier.size() && common == frames.size() &&
                    lane.depth == header.depth;
            lane.threadId = header.threadId;
            lane.depth = header.depth;
            if (tries == 0 || twice || tries + 1 < mostTries) {
                earlier = std::move(frames);
            } else {
                earlier.resize(common);
                lane.depth = common;
            }
        }
        lane.open = std::move(earlier);
        if (lane.depth > std::numeric_limits<U16>::max()) {
            trace.damage.add("lane " + number(i) + ": a depth of " + number(lane.depth) +
                             " cannot be");
            lane.depth = 0;
            lane.open.clear();
        }
        if (lane.threadId > std::numeric_limits<U32>::max()) {
            trace.damage.add("lane " + number(i) + ": there is no thread " + number(lane.threadId));
            lane.threadId = 0;
        }
    }
}

void Reader::readDescriptions(Trace& trace) const {
    std::vector<std::byte> octets(static_cast<std::size_t>(readableDescriptorsSize_));
    octets.resize(octets_.read(trace.header.descriptorsOffset, octets));
    std::span<std::byte const> rest(octets);
    for (U32 index = 0; index < trace.header.descriptorCount; ++index) {
        const auto wrong = [&](std::string const& text) {
            trace.damage.add("descriptor " + number(index) + " " + text);
        };
        if (rest.size() < sizeof(Descriptor))
            return wrong("is not there");
        const auto descriptor = objectIn<Descriptor>(rest);
        const U64 textsSize = U64{descriptor.textSize} + descriptor.sourceFileSize;
        if (descriptor.size % 8 != 0 || descriptor.size < sizeof descriptor + textsSize)
            return wrong("has an impossible size");
        if (descriptor.size > rest.size())
            return wrong("is cut off");
        const std::string_view texts(reinterpret_cast<char const*>(rest.data() + sizeof descriptor),
                                     static_cast<std::size_t>(textsSize));
        rest = rest.subspan(descriptor.size);

        Description description{descriptor.kind,
                                descriptor.line,
                                std::string(texts.substr(0, descriptor.textSize)),
                                {},
                                {}};
        std::string_view second = texts.substr(descriptor.textSize);
        if (descriptor.kind > DescriptorKind::type) {
            wrong("is of an unknown kind");
            continue;
        }
        if (descriptor.kind == DescriptorKind::message) {
            description.sourceFile = second;
        } else {
            while (!second.empty()) {
                const auto end = second.find('\n');
                if (end == second.npos ||
                    !readAttribute(second.substr(0, end), description.attributes))
                    wrong("has an attribute that cannot be read");
                second.remove_prefix(end == second.npos ? second.size() : end + 1);
            }
        }
        if (!trace.descriptions.try_emplace(descriptor.messageId, std::move(description)).second)
            wrong("has the identifier of an earlier one");
    }
}

void Reader::readRing(Trace& trace) {
    if (readablePlaces_ == 0)
        return;
    const U64 chunks = (readablePlaces_ - 1) / chunkSize_ + 1;
    const U64 next = std::max(header_.nextSequence, U64{1});
    const bool inOrder = ringWasRead_ && highestTaken_.size() == chunks && next >= readUpTo_;
    if (highestTaken_.size() != chunks)
        highestTaken_.resize(static_cast<std::size_t>(chunks), 0);
    // Of a ring that was larger, or is not all there.
    unfinishedChunks_.erase(unfinishedChunks_.lower_bound(chunks), unfinishedChunks_.end());
    if (!inOrder || (next - readUpTo_) / chunkSize_ >= chunks) {
        for (U64 chunk = 0; chunk < chunks; ++chunk)
            unfinishedChunks_.insert(unfinishedChunks_.end(), chunk);
    } else {
        for (U64 first = readUpTo_; first < next; first += std::min(chunkSize_, next - first)) {
            const U64 chunk = (first - 1) % header_.ringCapacity / chunkSize_;
            if (chunk < chunks)
                unfinishedChunks_.insert(chunk);
        }
    }
    ringWasRead_ = true;
    readUpTo_ = next;

    std::vector<std::byte> pieces[3];
    const U64 mostPlaces = std::max(pieceSize / header_.recordSize, U64{1});
    for (auto at = unfinishedChunks_.begin(); at != unfinishedChunks_.end();) {
        // Neighbours are read together, as far as there is room for them.
        const U64 firstChunk = *at;
        U64 endChunk = firstChunk;
        for (; at != unfinishedChunks_.end() && *at == endChunk &&
               (endChunk == firstChunk || (endChunk + 1 - firstChunk) * chunkSize_ <= mostPlaces);
             ++at)
            ++endChunk;
        const U64 endPlace = std::min(endChunk * chunkSize_, readablePlaces_);
        U64 chunk = firstChunk;
        U64 takenBefore = highestTaken_[static_cast<std::size_t>(chunk)];
        U64 skippedFrom = std::numeric_limits<U64>::max();
        for (U64 place = firstChunk * chunkSize_; place < endPlace;) {
            const U64 count = std::min(mostPlaces, endPlace - place);
            // The second reading is taken of what has the same number in the first and the third.
            for (std::vector<std::byte>& piece : pieces) {
                piece.resize(static_cast<std::size_t>(count * header_.recordSize));
                const std::size_t octets =
                    octets_.read(header_.ringOffset + place * header_.recordSize, piece);
                std::fill(piece.begin() + static_cast<std::ptrdiff_t>(octets), piece.end(),
                          std::byte{0});
            }
            for (U64 i = 0; i < count; ++i, ++place) {
                if (place / chunkSize_ != chunk) {
                    chunk = place / chunkSize_;
                    takenBefore = highestTaken_[static_cast<std::size_t>(chunk)];
                    skippedFrom = std::numeric_limits<U64>::max();
                }
                const auto in = [&](std::vector<std::byte> const& piece) {
                    return std::span(piece).subspan(
                        static_cast<std::size_t>(i * header_.recordSize));
                };
                const U64 before = objectIn<U64>(in(pieces[0]));
                const auto record = objectIn<BlockRecord>(in(pieces[1]));
                const U64 after = objectIn<U64>(in(pieces[2]));
                const U64 highest = std::max(before & ~markBits, after & ~markBits);
                if (highest == 0)
                    continue;
                if (before != after || before != record.sequence || (before & markBits) != 0) {
                    // A lane writes one after the other: what came after this one is taken after
                    // it, the next time.
                    skippedFrom = std::min(skippedFrom, highest - (highest - 1) % chunkSize_);
                    continue;
                }
                if (before <= takenBefore || before >= skippedFrom)
                    continue;
                if ((before - 1) % header_.ringCapacity != place) {
                    trace.damage.add("the record in place " + number(place) + " has the number " +
                                     number(before) + " of another place");
                    ++trace.leftOut;
                    continue;
                }
                U64& taken = highestTaken_[static_cast<std::size_t>(chunk)];
                taken = std::max(taken, before);
                trace.blocks.push_back(record);
            }
        }
    }
    std::erase_if(unfinishedChunks_, [&](U64 chunk) {
        // The last time that the chunk's places were given out before `next`.
        const U64 behind = (next - 2) % header_.ringCapacity / chunkSize_;
        const U64 rounds = (next - 2) / header_.ringCapacity;
        if (next < 2 || (chunk > behind && rounds == 0))
            return true; // not yet
        const U64 round = chunk > behind ? rounds - 1 : rounds;
        return highestTaken_[static_cast<std::size_t>(chunk)] >=
               round * header_.ringCapacity + (chunk + 1) * chunkSize_;
    });
    std::ranges::sort(trace.blocks, {}, &BlockRecord::sequence);
    if (!trace.blocks.empty() &&
        objectAt<FileHeader>(octets_, 0).nextSequence <= trace.blocks.back().sequence)
        trace.damage.add("header: the next number of a record is below that of record " +
                         number(trace.blocks.back().sequence));
}

} // namespace TraceTool
