#pragma once

/// A trace as it was found, without anything in it that cannot be.

#include "framework/fennic/TraceFormat.h"
#include "tools/trace/Damage.h"

#include <map>
#include <string>
#include <vector>

namespace TraceTool {

using Fennic::BlockKind;
using Fennic::BlockRecord;
using Fennic::KeyImage;

/// An attribute of a class.
struct Attribute {
    std::string name;
    /// Of a collection, its elements'.
    std::string valueType;
    /// Empty: it has no keys.
    std::string keyType;
};

/// What a record names by its identifier: a place in the source, or a class.
struct Description {
    Fennic::DescriptorKind kind = Fennic::DescriptorKind::message;
    U32 line = 0;
    std::string text;
    /// Of a place in the source.
    std::string sourceFile;
    /// Of a class, by identifier.
    std::map<U16, Attribute> attributes;
};

struct Lane {
    U64 threadId = 0;
    /// Records ever written through the lane, before the ring was read.
    U64 recordCount = 0;
    /// Open blocks, also those whose frames were not kept.
    U64 depth = 0;
    /// The open blocks whose frames were kept, outermost first; their `end` and `sequence` are 0.
    std::vector<BlockRecord> open;
};

struct Trace {
    Fennic::FileHeader header{};
    std::map<U32, Description> descriptions;
    std::vector<Lane> lanes;
    /// Finished blocks by rising sequence: of each lane, in the order in which they ended.
    std::vector<BlockRecord> blocks;
    Damage damage;
    /// Finished blocks that were left out as damage.
    U64 leftOut = 0;

    /// The latest time that is in it, on its clock; 0 when there is none.
    U64 latest() const;
    /// How many records of those ever written are not in the ring any more; of a trace that was
    /// read for the first time.
    U64 overwritten() const;
};

/// Says that a finished block is not in the trace's `blocks`, and why.
void leaveOut(Trace& trace, BlockRecord const& block, const char* why);

} // namespace TraceTool
