#include "tools/trace/Nesting.h"

#include <algorithm>

namespace TraceTool {
namespace {

constexpr std::size_t none = NestedBlock::none;

/// The blocks of one lane, linked by their indices while they are being nested.
class LaneNesting {
  public:
    /// Takes the lane's finished blocks in the order of their ends.
    /// @param isWhole  false: blocks within it, of which none was taken, may be missing
    /// @return false: it overlaps an earlier one, and is left out
    bool add(BlockRecord const& block, bool isWhole) {
        const auto isWithin = [&](BlockRecord const& inner) {
            // What has no greater depth was entered after its thread got a lane, and this one
            // before: its own depth says less.
            return inner.begin > block.begin ||
                   (inner.begin == block.begin && inner.depth > block.depth);
        };
        std::size_t first = roots_.size();
        while (first > 0 && isWithin(nodes_[roots_[first - 1]].block))
            --first;
        if (first > 0 && nodes_[roots_[first - 1]].block.end > block.begin)
            return false;
        adopt(block, first, roots_.size(), isWhole);
        return true;
    }

    /// Takes the lane's open blocks, the innermost first.
    bool addOpen(BlockRecord const& block) {
        std::size_t first = roots_.size();
        const auto isWithin = [&](BlockRecord const& inner) {
            return inner.begin > block.begin ||
                   (inner.begin == block.begin && inner.depth > block.depth);
        };
        while (first > 0 && isWithin(nodes_[roots_[first - 1]].block))
            --first;
        if (first > 0 && nodes_[roots_[first - 1]].block.end > block.begin)
            return false;
        adopt(block, first, roots_.size(), false);
        return true;
    }

    /// Each block before those within it.
    std::vector<NestedBlock> inOrder() const {
        struct Todo {
            std::size_t node;
            std::size_t parent;
        };
        std::vector<NestedBlock> all;
        all.reserve(nodes_.size());
        std::vector<Todo> todo;
        for (std::size_t i = roots_.size(); i-- > 0;)
            todo.push_back({roots_[i], none});
        while (!todo.empty()) {
            const Todo now = todo.back();
            todo.pop_back();
            Node const& node = nodes_[now.node];
            NestedBlock block{node.block, now.parent, 0, 0, node.childrenTime, node.isWhole};
            U32 depthWithin = 0;
            if (now.parent != none) {
                block.level = all[now.parent].level + 1;
                depthWithin = U32{all[now.parent].block.depth} + 1;
            }
            block.missing = node.block.depth > depthWithin ? node.block.depth - depthWithin : 0;
            all.push_back(block);
            for (std::size_t child = node.lastChild; child != none; child = nodes_[child].before)
                todo.push_back({child, all.size() - 1});
        }
        return all;
    }

  private:
    struct Node {
        BlockRecord block;
        std::size_t lastChild = none;
        std::size_t before = none; ///< the earlier one within the same block
        U64 childrenTime = 0;
        bool isWhole = true;
    };

    void adopt(BlockRecord const& block, std::size_t first, std::size_t end, bool isWhole) {
        Node node{block};
        node.isWhole = isWhole;
        for (std::size_t i = first; i < end; ++i) {
            Node& child = nodes_[roots_[i]];
            child.before = node.lastChild;
            node.lastChild = roots_[i];
            // A block between them is missing, or this one was entered before its thread got a
            // lane.
            if (child.block.depth != U32{block.depth} + 1)
                node.isWhole = false;
            if (child.block.end != 0)
                node.childrenTime += child.block.end - child.block.begin;
        }
        roots_.resize(first);
        roots_.push_back(nodes_.size());
        nodes_.push_back(node);
    }

    std::vector<Node> nodes_;
    std::vector<std::size_t> roots_; ///< blocks around which none has been found yet
};

/// Finds out before which blocks of a lane others are missing: overwritten, damaged or being
/// written. Each lane fills its chunks of the ring from the first record to the last.
class MissingRecords {
  public:
    explicit MissingRecords(Trace const& trace) {
        Fennic::FileHeader const& header = trace.header;
        if (header.chunkSize != 0 && header.ringCapacity % header.chunkSize == 0)
            chunkSize_ = header.chunkSize;
        wrapped_ = header.nextSequence > header.ringCapacity &&
                   header.nextSequence - 1 > header.ringCapacity;
        for (BlockRecord const& block : trace.blocks) {
            const U64 chunk = chunkOf(block);
            if (chunks_.empty() || chunks_.back() != chunk)
                chunks_.push_back(chunk);
        }
    }
    /// @param before  the block of the lane that ended before; null: none is in the trace
    bool between(BlockRecord const* before, BlockRecord const& block) const {
        if (before && chunkOf(*before) == chunkOf(block))
            return block.sequence != before->sequence + 1;
        if ((block.sequence - 1) % chunkSize_ != 0)
            return true;
        if (!before)
            return wrapped_ || !eachChunkHasBlocks(0, chunkOf(block));
        return before->sequence % chunkSize_ != 0 ||
               !eachChunkHasBlocks(chunkOf(*before) + 1, chunkOf(block));
    }

  private:
    U64 chunkOf(BlockRecord const& block) const { return (block.sequence - 1) / chunkSize_; }
    /// Those without may be of any lane.
    bool eachChunkHasBlocks(U64 first, U64 end) const {
        const auto from = std::ranges::lower_bound(chunks_, first);
        const auto to = std::ranges::lower_bound(chunks_, end);
        return static_cast<U64>(to - from) == end - first;
    }

    U64 chunkSize_ = 1;
    bool wrapped_ = false;
    std::vector<U64> chunks_; ///< those of which a block is in the trace, rising
};

} // namespace

std::vector<std::vector<NestedBlock>> nested(Trace& trace) {
    std::size_t count = trace.lanes.size();
    for (BlockRecord const& block : trace.blocks)
        count = std::max(count, std::size_t{block.lane} + 1);
    std::vector<LaneNesting> lanes(count);
    struct Progress {
        BlockRecord const* last = nullptr;
        /// What began before that may have had blocks within it that are missing.
        U64 unknownBefore = 0;
    };
    std::vector<Progress> progress(count);
    const MissingRecords missing(trace);
    for (BlockRecord const& block : trace.blocks) {
        Progress& lane = progress[block.lane];
        if (missing.between(lane.last, block))
            lane.unknownBefore = block.end;
        lane.last = &block;
        const bool isWhole =
            block.begin >= lane.unknownBefore && block.begin >= trace.header.attachedAt;
        if (!lanes[block.lane].add(block, isWhole)) {
            leaveOut(trace, block, "overlaps one that ended before it");
            lane.unknownBefore = block.end;
        }
    }
    for (std::size_t i = 0; i < trace.lanes.size(); ++i) {
        auto const& open = trace.lanes[i].open;
        for (std::size_t depth = open.size(); depth-- > 0;)
            if (!lanes[i].addOpen(open[depth]))
                trace.damage.add("lane " + std::to_string(i) + ": open block " +
                                 std::to_string(depth) + " began within one that has ended");
    }
    std::vector<std::vector<NestedBlock>> all;
    all.reserve(count);
    for (LaneNesting const& lane : lanes)
        all.push_back(lane.inOrder());
    return all;
}

} // namespace TraceTool
