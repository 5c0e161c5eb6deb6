/// storm TRACE SIZE JOURNAL [ROUNDS]: mirrors a transmit tree over two syncers and has its source
/// change all the time, with the binary trace in the one file, of SIZE octets, and a StormJournal
/// in the other; until it is killed, or for so many rounds.
///
/// A round changes an instance's flags, an update count and the root's time-out, once each.

#include "tests/tools/storm/Storm.h"
#include "framework/fennic/BlockTimer.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <span>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

std::span<std::byte> mapped(const char* path, std::size_t size) {
    const int file = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ::ftruncate(file, static_cast<off_t>(size)) != 0)
        return {};
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    return memory == MAP_FAILED ? std::span<std::byte>()
                                : std::span(static_cast<std::byte*>(memory), size);
}

} // namespace

int main(int count, char** arguments) {
    if (count < 4)
        return 2;
    const auto trace = mapped(arguments[1], std::strtoul(arguments[2], nullptr, 10));
    const auto notes = mapped(arguments[3], sizeof(StormJournal));
    if (trace.empty() || notes.empty())
        return 1;
    auto& journal = *reinterpret_cast<StormJournal*>(notes.data());
    const std::uint64_t rounds =
        count > 4 ? std::strtoull(arguments[4], nullptr, 10) : ~std::uint64_t{0};

    const Varnol::TxStatus::Ptr source(new Varnol::TxStatus);
    const Varnol::TxStatus::Ptr middle(new Varnol::TxStatus);
    const Varnol::TxStatus::Ptr dest(new Varnol::TxStatus);
    const auto first = Varnol::txStatusToTxSyncerFactory(source, middle);
    const auto second = Varnol::txStatusToTxSyncerFactory(middle, dest);
    const auto port =
        source->txMstStatusIs("mst1")->txMstPortStatusIs(Kolvu::IntfId::ethernet(3, 1));
    const auto entry = port->txInfoIs(100)->mstiNIs(7);
    port->txUpdateIs(100, 1);
    // Late joiners of a tree are mirrored from then on; now every level has its destination.
    first->handleInitialized();
    second->handleInitialized();

    Fennic::defaultTraceFile().memoryIs(trace);
    Fennic::BlockPlace place{"void Storm::round()", "Storm.cpp", __LINE__};
    for (std::uint64_t round = 1; round <= rounds; ++round) {
        std::atomic_ref(journal.begun).store(round);
        {
            const Fennic::BlockTimerSelf timer(Fennic::defaultTraceFile(), place);
            entry->flagsIs(static_cast<Zel::U8>(round));
            port->txUpdateIs(100, static_cast<unsigned>(round | 1));
            source->heartbeatTimeoutIs(static_cast<double>(round));
        }
        std::atomic_ref(journal.ended).store(round);
    }
    Fennic::defaultTraceFile().memoryIs({});
}
