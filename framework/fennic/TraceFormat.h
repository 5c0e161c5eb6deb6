#pragma once

/// How the binary trace lies in memory, for the writer (TraceFile) and for programs that read it,
/// from the living process or from the file or core that a dead one left.
///
///     offset 0                  FileHeader
///     header.lanesOffset        header.laneCount lanes of header.laneSize octets
///     header.descriptorsOffset  descriptors, one after the other, each once
///     header.ringOffset         a ring of header.ringCapacity records of header.recordSize octets
///
/// All numbers have the octet order of the machine that wrote them. header.orderMark shows it, and
/// that the memory is ready to be read: it is 0 until all else has been prepared.
///
/// **Lanes.** Each thread that records has a lane of its own: a LaneHeader, and then room for
/// header.framesPerLane records, the stack of the blocks that the thread is in now, the outermost
/// first. A lane's first `depth` frames are valid, as far as there is room for them; their `end`
/// and `sequence` are 0. A frame is written before `depth` says that it is there, and stays
/// unchanged until `depth` has been taken back, which is after the block's record has been written:
/// the innermost frame may be of a block that has a record already.
///
/// **Ring.** Records are written in chunks of header.chunkSize, each of which is filled by one
/// lane, so that the numbers of a lane's records rise, with gaps where other lanes have chunks. A
/// record's place in the ring is (sequence - 1) % ringCapacity. It is valid while its sequence word
/// is neither 0 (never written) nor carries the bit `beingWritten`: the bit is set before any other
/// word of the record changes, and the plain number is stored last, with release order. A reader of
/// a living process loads the word before and after the record (acquire) and takes the record when
/// both are valid and equal. Within a lane, sorted by sequence, records are in the order in which
/// their blocks ended.
///
/// Later versions may append to the header, to lanes, to descriptors and to records: a reader goes
/// by the sizes found, and ignores what it does not know. Reserved words are 0.

#include "framework/zel/Int.h"

#include <cstddef>

namespace Fennic {

using Zel::U16;
using Zel::U32;
using Zel::U64;
using Zel::U8;

/// What the memory begins with.
struct FileHeader {
    ///@{
    /// What a writer of this version stores in `magic`, `orderMark` and `version`.
    static constexpr char magicText[8] = {'F', 'E', 'N', 'N', 'I', 'C', '\r', '\n'};
    static constexpr U32 orderMarkValue = 0x01020304;
    static constexpr U32 currentVersion = 2;
    ///@}
    /// clock_gettime(CLOCK_MONOTONIC) in nanoseconds. On Linux it is read through the vDSO: no
    /// system call.
    static constexpr U32 clockMonotonic = 1;

    /// magicText: the memory holds a trace.
    char magic[8];
    /// orderMarkValue. Stored last, with release order. Atomic.
    U32 orderMark;
    /// The writer's currentVersion.
    U32 version;
    U32 headerSize; ///< octets of this header
    /// What the times of records are: clockMonotonic.
    U32 clock;
    /// Octets of the whole memory.
    U64 memorySize;
    /// Octets from the beginning of the memory to the first descriptor.
    U32 descriptorsOffset;
    /// Octets set aside for descriptors.
    U32 descriptorsSize;
    /// Octets from the beginning of the memory to the ring.
    U32 ringOffset;
    /// Octets of a record, in the ring and as a frame of a lane.
    U32 recordSize;
    /// Places in the ring; a multiple of chunkSize.
    U64 ringCapacity;
    /// The first number of the chunk that is given out next; a chunk's first number is 1 more than
    /// a multiple of chunkSize. Atomic.
    U64 nextSequence;
    /// Blocks that were not recorded, because more threads than lanes recorded at a time. Atomic.
    U64 lostRecords;
    /// Descriptors in the memory. Stored with release order after the descriptor. Atomic.
    U32 descriptorCount;
    /// Descriptors that found no room; records name them by the identifier 0. Atomic.
    U32 descriptorsMissing;
    ///@{
    /// One moment in both clocks, in nanoseconds: when the memory was attached, on the records'
    /// clock and since 1970 (CLOCK_REALTIME).
    U64 attachedAt;
    U64 attachedAtRealtime;
    ///@}
    /// As the system numbered it when the memory was attached.
    U32 processId;
    /// Octets from the beginning of the memory to the first lane.
    U32 lanesOffset;
    /// So many threads can record at a time.
    U32 laneCount;
    /// Octets of one lane, with its header.
    U32 laneSize;
    /// So many open blocks of a thread have a frame.
    U32 framesPerLane;
    /// Records of a chunk.
    U32 chunkSize;
    U32 reserved[2]; ///< 0
};

/// Followed by the lane's frames.
struct LaneHeader {
    /// The thread that had the lane last, as the system numbers threads; 0: none has had it.
    U64 threadId;
    /// Records that were written through the lane. Atomic.
    U64 recordCount;
    /// Blocks that are open now, also those beyond framesPerLane, whose frames are not kept.
    /// Atomic.
    U64 depth;
    U64 reserved; ///< 0
};

/// What a descriptor describes.
enum class DescriptorKind : U32 {
    /// A place in the source: its text and the name of its source file.
    message = 0,
    /// A class: its qualified name, and in the place of the source file's name its attributes, a
    /// line for each, "258\tneighborAddr\tKolvu::EthAddr\n": the identifier, the name, the type of
    /// its value (of a collection, of its elements) and, for what has keys, the key's type,
    /// separated by tabs.
    type = 1,
};

/// Followed by the text and then by the name of the source file, both without an ending zero, and
/// filled up with zeros to `size`.
struct Descriptor {
    /// Octets from this descriptor to the next; a multiple of 8.
    U32 size;
    /// The first descriptor has 0 and stands for all those that found no room.
    U32 messageId;
    /// Of a place, counted from 1; of a class 0.
    U32 line;
    ///@{
    /// Octets of what follows: of the text, and of the name of the source file.
    U32 textSize;
    U32 sourceFileSize;
    ///@}
    /// Says what the text and the name are.
    DescriptorKind kind;
};

/// A key as a record holds it.
struct KeyImage {
    static constexpr U8 none = 0; ///< no key: the rest is 0
    /// A number: the U64 at offset 8.
    static constexpr U8 number = 1;
    /// A text: its first octets, as many as there is room for.
    static constexpr U8 text = 2;

    U8 kind; ///< none, number or text
    /// Of a text: its whole length in octets, 255 for 255 and more.
    U8 size;
    /// Of a text its octets, filled up with zeros; of a number octets 6 to 13.
    char octets[22];
};

/// What a block is about, and whose its messageId is.
enum class BlockKind : U8 {
    /// A block that the source opens by itself, as a handler does. messageId is a message's. Also
    /// the record of any block whose frame was not kept, because it was too deep or entered before
    /// the memory was attached: messageId may be a class's then, and it is about nothing.
    handler = 0,
    /// A reactor takes a notification. messageId is that of the reactor's class.
    reaction = 1,
    /// A syncer writes into a destination. messageId is that of the syncer's or reactor's class.
    write = 2,
};

/// One finished block, in the ring, or one that is open, in a lane.
///
/// What it is about: of a reaction the entity that has changed and what has changed in it, of a
/// write the entity written and what is written, and of a handler the same as of the block around
/// it.
struct BlockRecord {
    /// Set in the sequence word while a record must not be read.
    static constexpr U64 beingWritten = U64{1} << 63;

    /// The record's number, from 1; the memory above says when it is valid. 0 in a frame. Atomic.
    U64 sequence;
    ///@{
    /// When the block was entered and left, on the header's clock. A frame's end is 0.
    U64 begin;
    U64 end;
    ///@}
    /// The entity's address, only to tell one from the other; 0: none.
    U64 entity;
    /// 0: of a descriptor that found no room.
    U32 messageId;
    /// The attribute's identifier; 0: none, or all.
    U16 attribute;
    /// In which lane the block was open, counted from 0.
    U16 lane;
    /// The descriptor of the entity's class; 0: none, or without room.
    U32 typeId;
    /// Blocks open around this one in its lane; 65535 says so many, or more.
    U16 depth;
    /// How the other words are to be read.
    BlockKind kind;
    U8 reserved; ///< 0
    /// Under which key the entity itself stands in its parent.
    KeyImage entityKey;
    /// The key of the element of the attribute.
    KeyImage key;
};

static_assert(offsetof(FileHeader, magic) == 0);
static_assert(offsetof(FileHeader, orderMark) == 8);
static_assert(offsetof(FileHeader, version) == 12);
static_assert(offsetof(FileHeader, headerSize) == 16);
static_assert(offsetof(FileHeader, clock) == 20);
static_assert(offsetof(FileHeader, memorySize) == 24);
static_assert(offsetof(FileHeader, descriptorsOffset) == 32);
static_assert(offsetof(FileHeader, descriptorsSize) == 36);
static_assert(offsetof(FileHeader, ringOffset) == 40);
static_assert(offsetof(FileHeader, recordSize) == 44);
static_assert(offsetof(FileHeader, ringCapacity) == 48);
static_assert(offsetof(FileHeader, nextSequence) == 56);
static_assert(offsetof(FileHeader, lostRecords) == 64);
static_assert(offsetof(FileHeader, descriptorCount) == 72);
static_assert(offsetof(FileHeader, descriptorsMissing) == 76);
static_assert(offsetof(FileHeader, attachedAt) == 80);
static_assert(offsetof(FileHeader, attachedAtRealtime) == 88);
static_assert(offsetof(FileHeader, processId) == 96);
static_assert(offsetof(FileHeader, lanesOffset) == 100);
static_assert(offsetof(FileHeader, laneCount) == 104);
static_assert(offsetof(FileHeader, laneSize) == 108);
static_assert(offsetof(FileHeader, framesPerLane) == 112);
static_assert(offsetof(FileHeader, chunkSize) == 116);
static_assert(offsetof(FileHeader, reserved) == 120);
static_assert(sizeof(FileHeader) == 128);

static_assert(offsetof(LaneHeader, threadId) == 0);
static_assert(offsetof(LaneHeader, recordCount) == 8);
static_assert(offsetof(LaneHeader, depth) == 16);
static_assert(offsetof(LaneHeader, reserved) == 24);
static_assert(sizeof(LaneHeader) == 32);

static_assert(offsetof(Descriptor, size) == 0);
static_assert(offsetof(Descriptor, messageId) == 4);
static_assert(offsetof(Descriptor, line) == 8);
static_assert(offsetof(Descriptor, textSize) == 12);
static_assert(offsetof(Descriptor, sourceFileSize) == 16);
static_assert(offsetof(Descriptor, kind) == 20);
static_assert(sizeof(Descriptor) == 24);

static_assert(offsetof(KeyImage, kind) == 0);
static_assert(offsetof(KeyImage, size) == 1);
static_assert(offsetof(KeyImage, octets) == 2);
static_assert(sizeof(KeyImage) == 24);

static_assert(offsetof(BlockRecord, sequence) == 0);
static_assert(offsetof(BlockRecord, begin) == 8);
static_assert(offsetof(BlockRecord, end) == 16);
static_assert(offsetof(BlockRecord, entity) == 24);
static_assert(offsetof(BlockRecord, messageId) == 32);
static_assert(offsetof(BlockRecord, attribute) == 36);
static_assert(offsetof(BlockRecord, lane) == 38);
static_assert(offsetof(BlockRecord, typeId) == 40);
static_assert(offsetof(BlockRecord, depth) == 44);
static_assert(offsetof(BlockRecord, kind) == 46);
static_assert(offsetof(BlockRecord, reserved) == 47);
static_assert(offsetof(BlockRecord, entityKey) == 48);
static_assert(offsetof(BlockRecord, key) == 72);
static_assert(sizeof(BlockRecord) == 96);

} // namespace Fennic
