#include "framework/fennic/BlockTimer.h"
#include "bench/Rows.h"

#include <vector>

#include <time.h>

/// timer_off and timer_on: a block timer while its trace is off, and one that writes a record into
/// a ring.
///
/// Left out: the peer LTTng-UST, which is for whole systems and wants a daemon of its own.
namespace Bench {
namespace {

class Library {
  public:
    /// @param octets  of memory for the trace; 0 to have it off
    explicit Library(std::size_t octets)
        : memory_(octets / sizeof(Fennic::U64)) {
        file_->messageIs(message_, "Bench::timed()", "BlockTimer.cpp", __LINE__);
        if (octets != 0)
            file_->memoryIs(std::as_writable_bytes(std::span(memory_)));
    }
    void operator()(unsigned i) {
        benchmark::DoNotOptimize(i);
        const Fennic::BlockTimerSelf timer(*file_, message_);
    }
    std::string result() const {
        if (memory_.empty())
            return "0";
        auto const* header = reinterpret_cast<Fennic::FileHeader const*>(memory_.data());
        auto const* lane = reinterpret_cast<Fennic::LaneHeader const*>(
            memory_.data() + header->lanesOffset / sizeof(Fennic::U64));
        return std::to_string(lane->recordCount);
    }

  private:
    static inline Fennic::MessageId message_{0};

    std::vector<Fennic::U64> memory_;
    std::unique_ptr<Fennic::TraceFile> file_ = std::make_unique<Fennic::TraceFile>();
};

/// An empty loop.
class Nothing {
  public:
    void operator()(unsigned i) { benchmark::DoNotOptimize(i); }
    std::string result() const { return "0"; }
};

/// Two reads of the clock that the timer uses, kept nowhere; only the blocks are counted.
class TwoReads {
  public:
    void operator()(unsigned) {
        timespec begin;
        timespec end;
        clock_gettime(CLOCK_MONOTONIC, &begin);
        clock_gettime(CLOCK_MONOTONIC, &end);
        benchmark::DoNotOptimize(begin);
        benchmark::DoNotOptimize(end);
        ++blocks_;
    }
    std::string result() const { return std::to_string(blocks_); }

  private:
    unsigned blocks_ = 0;
};

} // namespace

void blockTimer(Rows& rows) {
    rows.add<Library>("varnol/timer_off", {}, std::size_t{0});
    rows.add<Nothing>("floor/timer_off");
    rows.add<Library>("varnol/timer_on", {}, std::size_t{1} << 20);
    rows.add<TwoReads>("floor/timer_on");
}

} // namespace Bench
