#pragma once

/// How the binary trace lies in memory, for the writer (TraceFile) and for programs that read it,
/// from the living process or from the file or core that a dead one left.
///
///     offset 0                  FileHeader
///     header.descriptorsOffset  descriptors, one after the other, each once
///     header.ringOffset         a ring of header.ringCapacity records of header.recordSize octets
///
/// All numbers have the octet order of the machine that wrote them. header.orderMark shows it, and
/// that the memory is ready to be read: it is 0 until all else has been prepared.
///
/// A record's place in the ring is (sequence - 1) % ringCapacity. It is valid while its sequence
/// word is neither 0 (never written) nor carries the bit `beingWritten`: the bit is set before any
/// other word of the record changes, and the plain number is stored last, with release order. A
/// reader of a living process loads the word before and after the record (acquire) and takes the
/// record when both are valid and equal. Sorted by sequence, records are in the order in which
/// their blocks ended; numbers not found between others belong to lost or torn records.
///
/// Later versions may append to the header, to descriptors and to records: a reader goes by the
/// sizes found, and ignores what it does not know. Reserved words are 0.

#include "framework/zel/Int.h"

#include <cstddef>

namespace Fennic {

using Zel::U32;
using Zel::U64;

struct FileHeader {
    static constexpr char magicText[8] = {'F', 'E', 'N', 'N', 'I', 'C', '\r', '\n'};
    static constexpr U32 orderMarkValue = 0x01020304;
    static constexpr U32 currentVersion = 1;
    /// clock_gettime(CLOCK_MONOTONIC) in nanoseconds. On Linux it is read through the vDSO: no
    /// system call.
    static constexpr U32 clockMonotonic = 1;

    char magic[8];
    /// orderMarkValue. Stored last, with release order. Atomic.
    U32 orderMark;
    U32 version;
    U32 headerSize;
    /// What the times of records are: clockMonotonic.
    U32 clock;
    /// Octets of the whole memory.
    U64 memorySize;
    U32 descriptorsOffset;
    /// Octets set aside for descriptors.
    U32 descriptorsSize;
    U32 ringOffset;
    U32 recordSize;
    U64 ringCapacity;
    /// The number that the next record gets; the first record has 1. Atomic.
    U64 nextSequence;
    /// Records given up because another thread was still writing, a whole round of the ring late,
    /// into the same place. Atomic.
    U64 lostRecords;
    /// Descriptors in the memory. Stored with release order after the descriptor. Atomic.
    U32 descriptorCount;
    /// Descriptors that found no room; their blocks' records have the message identifier 0. Atomic.
    U32 descriptorsMissing;
    /// One moment in both clocks, in nanoseconds: when the memory was attached, on the records'
    /// clock and since 1970 (CLOCK_REALTIME).
    U64 attachedAt;
    U64 attachedAtRealtime;
    U32 processId;
    /// Room for the table of open blocks.
    U32 reserved[7];
};

/// Followed by the message's text and then by the name of its source file, both without an ending
/// zero, and filled up with zeros to `size`.
struct Descriptor {
    /// Octets from this descriptor to the next; a multiple of 8.
    U32 size;
    /// The first descriptor has 0 and stands for all messages whose descriptors found no room.
    U32 messageId;
    U32 line;
    U32 textSize;
    U32 sourceFileSize;
    U32 reserved;
};

/// One finished block.
struct BlockRecord {
    static constexpr U64 beingWritten = U64{1} << 63;

    U64 sequence;
    /// When the block was entered and left, on the header's clock.
    U64 begin;
    U64 end;
    U32 messageId;
    U32 reserved;
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
static_assert(offsetof(FileHeader, reserved) == 100);
static_assert(sizeof(FileHeader) == 128);

static_assert(offsetof(Descriptor, size) == 0);
static_assert(offsetof(Descriptor, messageId) == 4);
static_assert(offsetof(Descriptor, line) == 8);
static_assert(offsetof(Descriptor, textSize) == 12);
static_assert(offsetof(Descriptor, sourceFileSize) == 16);
static_assert(offsetof(Descriptor, reserved) == 20);
static_assert(sizeof(Descriptor) == 24);

static_assert(offsetof(BlockRecord, sequence) == 0);
static_assert(offsetof(BlockRecord, begin) == 8);
static_assert(offsetof(BlockRecord, end) == 16);
static_assert(offsetof(BlockRecord, messageId) == 24);
static_assert(offsetof(BlockRecord, reserved) == 28);
static_assert(sizeof(BlockRecord) == 32);

} // namespace Fennic
