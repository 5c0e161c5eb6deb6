#pragma once

#include "bench/PlainRecord.h"
#include "bench/TransmitTree.h"

#include <map>
#include <string>
#include <unordered_map>

/// The floor of received records, as one would write it by hand without a framework.
namespace Bench::Floor {

class ReceiveObserver {
  public:
    virtual void rxUpdateChanged(U16 vlan) = 0;

  protected:
    ~ReceiveObserver() = default;
};

struct ReceivePort {
    std::map<U16, PlainRecord> rxInfo;
    std::unordered_map<U16, unsigned> rxUpdate;
    ReceiveObserver* observer = nullptr;

    void rxUpdateInc(U16 vlan, unsigned amount) {
        rxUpdate[vlan] += amount;
        if (observer)
            observer->rxUpdateChanged(vlan);
    }
};
struct ReceiveMst {
    std::unordered_map<Kolvu::IntfId, ReceivePort, PortHash> ports;
};
struct ReceiveTree {
    std::unordered_map<std::string, ReceiveMst> msts;
};

/// Copies the records of a port that are updated to the port of the same name in a tree, and counts
/// there; deletes both where the source has not both. As in the library the port is looked for each
/// time, since others make and delete it.
class ReceiveMirror final : public ReceiveObserver {
  public:
    ReceiveMirror(ReceivePort& from, std::string mstName, Kolvu::IntfId port, ReceiveTree& tree);
    ReceiveMirror(ReceiveMirror const&) = delete;
    ReceiveMirror& operator=(ReceiveMirror const&) = delete;
    ~ReceiveMirror();
    void rxUpdateChanged(U16 vlan) override;

  private:
    ReceivePort* dest() const;

    ReceivePort& from_;
    std::string mstName_;
    Kolvu::IntfId port_;
    ReceiveTree& tree_;
};

} // namespace Bench::Floor
