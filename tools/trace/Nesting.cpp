#include "tools/trace/Nesting.h"

#include <algorithm>

namespace TraceTool {
namespace {

constexpr std::size_t none = NestedBlock::none;

/// The blocks of one lane, linked by their indices while they are being nested.
class LaneNesting {
  public:
    /// Takes the lane's finished blocks in the order of their ends.
    /// @return false: it overlaps an earlier one, and is left out
    bool add(BlockRecord const& block) {
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
        adopt(block, first, roots_.size());
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
        adopt(block, first, roots_.size());
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
            NestedBlock block{node.block, now.parent, 0, 0, node.childrenTime};
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
    };

    void adopt(BlockRecord const& block, std::size_t first, std::size_t end) {
        Node node{block};
        for (std::size_t i = first; i < end; ++i) {
            Node& child = nodes_[roots_[i]];
            child.before = node.lastChild;
            node.lastChild = roots_[i];
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

} // namespace

std::vector<std::vector<NestedBlock>> nested(Trace& trace) {
    std::size_t count = trace.lanes.size();
    for (BlockRecord const& block : trace.blocks)
        count = std::max(count, std::size_t{block.lane} + 1);
    std::vector<LaneNesting> lanes(count);
    for (BlockRecord const& block : trace.blocks)
        if (!lanes[block.lane].add(block))
            leaveOut(trace, block, "overlaps one that ended before it");
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
