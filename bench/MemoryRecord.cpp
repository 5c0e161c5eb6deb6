#include "bench/FloorTree.h"
#include "bench/Rows.h"
#include "bench/SigcTree.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <malloc.h>

/// memory_record: octets on the heap for each mirrored record: source, destination, all that keeps
/// one equal to the other, and what the allocator takes for itself. The records stand on ports of
/// 4096 VLANs, so that hardly anything of the ports is counted with them.
///
/// memory_tree_record: the same in the trees of sync_N, where 16 records share what a port takes.
namespace Bench {
namespace {

constexpr unsigned records = 64 * 1024;

/// What malloc has given out, its own words included.
std::size_t heapOctets() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// How much more there is for each record when `make` has made a mirrored tree.
template <class Make> double octetsFor(Make const& make) {
    const std::size_t before = heapOctets();
    [[maybe_unused]] const auto made = make();
    return static_cast<double>(heapOctets() - before) / records;
}

double library(unsigned vlansPerPort) {
    return octetsFor([=] {
        return Varnol::txStatusToTxSyncerFactory(transmitTree(records, Shape{vlansPerPort}),
                                                 Varnol::TxStatus::Ptr(new Varnol::TxStatus));
    });
}

double byHand(unsigned vlansPerPort) {
    struct Trees {
        explicit Trees(Shape shape)
            : source(Floor::tree(records, shape)) {}
        Floor::Tree source;
        Floor::Tree dest;
        Floor::TreeMirror mirror{source, dest};
    };
    return octetsFor([=] { return std::make_unique<Trees>(Shape{vlansPerPort}); });
}

double sigcxx(unsigned vlansPerPort) {
    return octetsFor([=] {
        return std::make_unique<Sigc::TreeMirror>(Sigc::tree(records, Shape{vlansPerPort}),
                                                  std::make_shared<Sigc::Tree>());
    });
}

} // namespace

void memoryRecord(Rows& rows) {
    for (const auto& [work, vlansPerPort] :
         {std::pair("memory_record", 4096U), std::pair("memory_tree_record", 16U)}) {
        const std::string name = work;
        const unsigned vlans = vlansPerPort;
        rows.addMemory("varnol/" + name, [=] { return library(vlans); });
        rows.addMemory("floor/" + name, [=] { return byHand(vlans); });
        rows.addMemory("peer/sigc++/" + name, [=] { return sigcxx(vlans); });
    }
}

} // namespace Bench
