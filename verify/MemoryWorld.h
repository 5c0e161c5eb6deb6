#pragma once

#include "bpdu/VarnolUtils.h"
#include "syncers/IntxInfoChangeSm.h"
#include "syncers/IntxInfoSyncer.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"
#include "verify/Verify.h"

#include <array>
#include <functional>
#include <string>
#include <vector>

/// Trees of every kind, the syncers between them, and packets, with operations on all of it in
/// which memory may run out. Worlds of one seed are alike, and stay so as long as the same is done
/// to them.
class MemoryWorld {
  public:
    using Lines = std::vector<std::string>;
    using Root = Zel::Ptr<Zel::PtrInterface const>;

    /// An operation made ready for one world.
    struct Action {
        /// Does it, as often as it is called. @return false where the operation says, as it is
        /// documented, that memory was exhausted
        std::function<bool()> act;
        /// Makes good that the change was stored, and not all reactors have followed it; empty
        /// where act() does that itself.
        std::function<void()> notice = {};
    };
    /// What is to be done, in this world or one that is like it.
    struct Operation {
        std::string name;
        std::function<Action(MemoryWorld& world)> on;
    };

    explicit MemoryWorld(Zel::U64 seed);

    /// A random operation.
    Operation choose(Verify::Run& run) const;
    /// Does some operations, the same ones in every world that is like this.
    void disturb(Zel::U64 seed, unsigned operations);

    /// The trees that an operation itself changes; which of them the syncers watch, and the octets
    /// of the last packet.
    std::array<Root, 6> sources() const;
    Lines watching() const;
    /// What the counter of changes counts; 0 without one.
    Zel::U32 changes() const noexcept { return counter_ ? counter_->updatedFieldCount() : 0; }
    /// The trees that syncers, or a copy, write: one write after another.
    std::array<Root, 3> destinations() const;

    /// Where what a syncer mirrors is different: the paths in its trees.
    std::vector<std::string> differences() const;

    /// Takes all packets that the manager keeps: the next one needs memory.
    void drainPackets();

  private:
    static constexpr std::size_t places = 2;

    template <class E> using At = std::function<Zel::Ptr<E>(MemoryWorld const& world)>;

    template <class E>
    static Operation onEntity(Verify::Run& run, At<E> const& at, E const& here, std::string place);
    template <class A, class E>
    static Operation onElements(Verify::Run& run, At<E> const& at, E const& here,
                                std::string const& place);
    static Operation onSyncers(Verify::Run& run);
    static Operation onTransmitSyncers(Verify::Run& run);
    static Operation onReceiveSyncer(Verify::Run& run);
    static Operation onRecordSyncers(Verify::Run& run);
    static Operation onPackets(Verify::Run& run);

    std::array<Varnol::TxStatus::Ptr, places> tx_;
    std::array<Varnol::RxStatus::Ptr, places> rx_;
    std::array<Varnol::IntxInfo::Ptr, places> record_;
    Varnol::TxStatus::Ptr txDest_{new Varnol::TxStatus};
    Varnol::RxStatus::Ptr dynamic_{new Varnol::RxStatus};
    Varnol::IntxInfo::Ptr recordDest_{new Varnol::IntxInfo(1)};
    Varnol::TxStatusToTxSyncer::Ptr txToTx_;
    Varnol::TxStatusToRxSyncer::Ptr txToRx_;
    Varnol::RxStatusToRxDynamicSyncer::Ptr rxToDynamic_;
    Varnol::IntxInfoSyncer::Ptr recordSyncer_;
    Varnol::IntxInfoChangeSm::Ptr counter_;
    Stp::MstPortSm::Ptr port_;
    std::vector<Kolvu::Pkt::Ptr> packets_;
    Kolvu::Pkt::Ptr packet_;
};
