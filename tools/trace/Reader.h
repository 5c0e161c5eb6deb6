#pragma once

#include "tools/trace/Trace.h"

#include <set>
#include <stdexcept>

namespace TraceTool {

/// What is read is no trace, or one of another version or octet order.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads a trace while it may be written, as framework/fennic/TraceFormat.h describes it. Nothing
/// that is found in it is believed before it has been compared with all else: what cannot be is
/// left out and named as damage.
class Reader {
  public:
    /// The octets have to outlive the reader. Throws Refused.
    explicit Reader(Octets const& octets);

    /// Everything that can be read now. Its `blocks` are those that no earlier call has returned.
    /// Throws std::system_error where the octets cannot be read, and Refused when there is another
    /// trace in their place.
    Trace read();
    Fennic::FileHeader const& header() const { return header_; }

  private:
    void checkSizes(Trace& trace);
    void readLaneCounts(Trace& trace) const;
    void readFrames(Trace& trace) const;
    void readDescriptions(Trace& trace) const;
    void readRing(Trace& trace);

    Octets const& octets_;
    Fennic::FileHeader header_{};
    U64 available_ = 0;
    // What of each part is there to be read; 0 where it cannot be.
    U64 readableLanes_ = 0;
    U64 readableFrames_ = 0;
    U64 readableDescriptorsSize_ = 0;
    U64 readablePlaces_ = 0;
    U64 chunkSize_ = 1;

    bool ringWasRead_ = false;
    U64 readUpTo_ = 0;               ///< nextSequence when the ring was read
    std::vector<U64> highestTaken_;  ///< of each chunk's places, the highest sequence returned
    std::set<U64> unfinishedChunks_; ///< their places, whose records are yet to come
};

} // namespace TraceTool
