#include "tools/trace/Follow.h"

#include "tools/trace/Show.h"

#include <algorithm>
#include <ostream>

namespace TraceTool {

bool Follow::look() {
    // What had been counted at the last look has been written by now: it is seen at this one, or
    // never.
    const std::vector<U64> written = written_;
    trace_ = reader_.read();
    for (BlockRecord const& block : trace_.blocks) {
        if (seen_.size() <= block.lane)
            seen_.resize(std::size_t{block.lane} + 1, 0);
        ++seen_[block.lane];
    }
    written_.clear();
    for (Lane const& lane : trace_.lanes)
        written_.push_back(lane.recordCount);
    shown_ += trace_.blocks.size();
    leftOut_ += trace_.leftOut;
    if (looked_) {
        sayOverwritten(written);
    } else {
        showHead(out_, trace_, writerOf(trace_.header));
        overwritten_ = trace_.overwritten();
        looked_ = true;
    }
    showBlocks(out_, trace_);
    sayDamage();
    out_.flush();
    return !trace_.blocks.empty();
}

void Follow::finish() {
    const Writer writer = writerOf(trace_.header);
    if (!writer.lives)
        sayOverwritten(written_);
    showOpen(out_, trace_, writer);
    out_ << "\n" << shown_ << " finished blocks shown, " << overwritten_ << " overwritten unseen\n";
    out_.flush();
}

void Follow::sayOverwritten(std::vector<U64> const& written) {
    U64 missed = 0;
    for (std::size_t i = 0; i < written.size(); ++i) {
        const U64 seen = i < seen_.size() ? seen_[i] : 0;
        missed += written[i] > seen ? written[i] - seen : 0;
    }
    missed -= std::min(missed, leftOut_);
    if (missed > overwritten_) {
        out_ << "\n" << missed - overwritten_ << " finished blocks were overwritten unseen\n";
        overwritten_ = missed;
    }
}

void Follow::sayDamage() {
    constexpr std::size_t mostSaid = 1000;
    if (trace_.damage.none())
        return;
    damaged_ = true;
    for (std::string const& text : trace_.damage.texts())
        if (said_.size() < mostSaid && said_.insert(text).second)
            errors_ << "varnol-trace: damaged: " << text << "\n";
}

} // namespace TraceTool
