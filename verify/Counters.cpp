/// The counters that go round, each taken some steps on from where the process found it. In the
/// build gcc-counters they begin just below their wrap, and each has to cross it; in the others
/// they begin at 0. docs/counters.md says what becomes of each at its wrap.

#include "framework/zel/NotifieeList.h"
#include "framework/zel/Start.h"
#include "framework/zel/Trace.h"
#include "framework/zel/TypeNode.h"
#include "model/RxStatus.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "tests/framework/MapTestAccess.h"
#include "tests/framework/TraceFileTestAccess.h"
#include "verify/Verify.h"

#include <iostream>
#include <span>
#include <string>
#include <vector>

namespace {

using Varnol::IntxInfo;
using Zel::counterStart;
using Zel::MapTestAccess;
using Zel::U16;
using Zel::U32;
using Zel::U64;

constexpr unsigned steps = 8;
constexpr bool nearWrap = counterStart<U32>() != 0;

/// Takes counters on, and tells of each where it was and is.
class Counters {
  public:
    /// @param first  where the counter has to be found
    /// @param read  where it is
    /// @param step  takes it on by stepSize
    template <class Count, class Read, class Step>
    void follow(const char* name, Count first, Count stepSize, Read const& read, Step const& step) {
        const Count begin = read();
        if (begin != first)
            Verify::found(name + (" begins at " + std::to_string(begin)) + " instead of " +
                          std::to_string(first));
        bool wraps = false;
        Count last = begin;
        for (unsigned i = 0; i < steps; ++i) {
            step(i);
            const Count now = read();
            if (static_cast<Count>(now - last) != stepSize)
                Verify::found(name + (" goes from " + std::to_string(last)) + " to " +
                              std::to_string(now));
            wraps = wraps || now < last;
            last = now;
        }
        if (wraps != nearWrap)
            Verify::found(name + std::string(wraps ? " wraps" : " does not wrap"));
        std::cout << "note: " << name << " went from " << begin << " to " << last << '\n';
        ++count_;
    }

    unsigned count() const noexcept { return count_; }

  private:
    unsigned count_ = 0;
};

std::string work(Verify::Run&) {
    Counters counters;

    const Varnol::RxStatus::Ptr status(new Varnol::RxStatus);
    const auto mst = status->rxMstStatusIs("mst");
    auto const& hashed = MapTestAccess::core(mst->rxMstPortStatus());
    counters.follow(
        "HashTable::version", counterStart<U32>(), U32{1}, [&] { return hashed.version(); },
        [&](unsigned i) {
            mst->rxMstPortStatusIs(Kolvu::IntfId::ethernet(static_cast<U16>(i + 1)));
        });

    const IntxInfo::Ptr source(new IntxInfo(0));
    auto const& ordered = MapTestAccess::core(source->mstiN());
    counters.follow(
        "RbTree::version", counterStart<U32>(), U32{1}, [&] { return ordered.version(); },
        [&](unsigned i) { source->mstiNIs(static_cast<U16>(i)); });

    // Of the next three a user is told how far they are from where they began.
    const auto from = [](U64 told) { return counterStart<U64>() + told; };
    const auto change = [&](unsigned i) { source->configRevisionLevelIs(static_cast<U16>(i)); };
    {
        const auto counter = Varnol::intxInfoChangeSmFactory(source, 0);
        counters.follow(
            "notificationsDelivered", counterStart<U64>(), U64{1},
            [&] { return from(Zel::notificationsDelivered()); }, change);
    }
    {
        const auto syncer =
            Varnol::intxInfoSyncerFactory(source, IntxInfo::Ptr(new IntxInfo(0)), 0, "mst1 Et1");
        Zel::TypeNode const& writer = Varnol::IntxInfoSyncer::ZelSource::_zelType;
        counters.follow(
            "TypeNode::writes", counterStart<U64>(), U64{1}, [&] { return from(writer.writes()); },
            change);
    }
    counters.follow(
        "tracesLost", counterStart<U64>(), U64{1}, [&] { return from(Zel::tracesLost()); },
        [](unsigned) { Zel::traceGivenUp(); });

    std::vector<U64> memory(Fennic::TraceFile::minimumMemorySize / sizeof(U64));
    Fennic::TraceFile file;
    const auto attach = [&](unsigned = 0) {
        file.memoryIs(std::as_writable_bytes(std::span(memory)));
    };
    attach();
    counters.follow(
        "TraceFile's epoch", counterStart<U64>() | 1, U64{2},
        [&] { return Fennic::TraceFileTestAccess::epoch(file); }, attach);

    return Verify::grouped(counters.count()) +
           (nearWrap ? " counters begin just below their wrap, and cross it"
                     : " counters begin at 0");
}

} // namespace

int main(int argc, char** argv) { return Verify::Run::main(argc, argv, work); }
