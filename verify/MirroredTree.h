#pragma once

#include "framework/zel/Int.h"
#include "syncers/RxStatusToRxDynamicSyncer.h"
#include "syncers/TxStatusToRxSyncer.h"
#include "syncers/TxStatusToTxSyncer.h"

#include <array>
#include <map>
#include <random>
#include <string>
#include <string_view>

/// A transmit tree and a receive tree, mirrored by the three syncers of trees, and how many objects
/// of each class there are for it. Knows by arithmetic what there is, and asks nobody.
///
/// MST names stay; interfaces, records and entries come and go.
class MirroredTree {
  public:
    /// How many objects there are, by the name of their class.
    using Objects = std::map<std::string_view, Zel::U64>;

    static constexpr unsigned names = 4;
    static constexpr unsigned interfaces = 16;
    static constexpr unsigned vlans = 3;
    static constexpr unsigned instances = 4;

    /// Without interfaces.
    MirroredTree();

    /// How many objects are alive for this tree; of all other classes there are none.
    Objects objects() const;

    /// Adds all interfaces, with all records and entries. Requires: there are none.
    /// @return how many there are
    unsigned fill();
    /// Removes all interfaces.
    /// @return how many there were
    unsigned clear();
    /// Adds an interface of both trees, with records and entries, or removes it.
    /// @return whether it was added
    bool togglePort(std::mt19937_64& random);
    /// Writes a value of an interface, of a record or of an entry, or adds or removes a record or
    /// an entry, in one of the sources. Nothing is done where there is no interface, or no count to
    /// delete.
    /// @return whether anything was done
    bool change(std::mt19937_64& random);

    /// How many interfaces there are.
    unsigned ports() const;

    /// What the syncers find different between sources and destinations, as text; of the receive
    /// trees only after receiveAll().
    std::string difference() const;
    /// Whether difference() tells of one wrong value in each of two destinations, which have their
    /// own again afterwards.
    bool findsWrongValues();
    /// Signals every VLAN of the receive source, as the receive path does.
    void receiveAll();

  private:
    /// The entries of a record, a bit for each instance.
    struct Record {
        bool present = false;
        unsigned entries = 0;
    };
    struct Port {
        bool present = false;
        std::array<Record, vlans> tx, rx, dynamic;
        std::array<Zel::U32, vlans> txUpdates{}, rxUpdates{}; // 0 is none
    };

    static Zel::Name name(unsigned place);
    static Kolvu::IntfId intf(unsigned place);
    static Bridging::VlanIdOrNone vlan(unsigned place);
    static void add(Varnol::IntxInfo& record, Record& model, unsigned entries);
    static void toggleEntry(Varnol::IntxInfo& record, Record& model, unsigned instance);

    void addPort(unsigned place, unsigned records, unsigned entries);
    void removePort(unsigned place);
    bool changeTx(unsigned place, std::mt19937_64& random);
    bool changeRx(unsigned place, std::mt19937_64& random);
    void updateTx(unsigned place, unsigned vlanPlace, Zel::U32 count);
    void updateRx(unsigned place, unsigned vlanPlace, Zel::U32 count);

    Varnol::TxMstStatus::Ptr tx(unsigned place) const;
    Varnol::RxMstStatus::Ptr rx(unsigned place) const;

    Varnol::TxStatus::Ptr txSource_{new Varnol::TxStatus};
    Varnol::TxStatus::Ptr txDest_{new Varnol::TxStatus};
    Varnol::RxStatus::Ptr rxSource_{new Varnol::RxStatus};
    Varnol::RxStatus::Ptr dynamic_{new Varnol::RxStatus};
    Varnol::TxStatusToTxSyncer::Ptr txToTx_;
    Varnol::TxStatusToRxSyncer::Ptr txToRx_;
    Varnol::RxStatusToRxDynamicSyncer::Ptr rxToDynamic_;
    std::array<Port, names * interfaces> ports_;
};

/// In which classes the census has another number of objects, as text: empty where in none.
std::string censusDifference(MirroredTree::Objects const& expected);
