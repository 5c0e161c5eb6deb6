#pragma once

#include "bench/TransmitTree.h"

#include <map>
#include <unordered_map>

/// The floor of the mirrors: the same trees, and mirrors that stay live, as one would write them by
/// hand without a framework. Plain structs in nested containers of the C++ library; each struct can
/// have one observer, told by a virtual call after the value is stored. A mirror keeps, as the
/// library's does, an object for each thing that it watches, and follows every change: of values,
/// and of which children there are. Nobody watches the destination.
namespace Bench::Floor {

class EntryObserver {
  public:
    virtual void flagsChanged(Stp::RstpBpduFlags flags) = 0;
    /// Any other attribute.
    virtual void changed() = 0;

  protected:
    ~EntryObserver() = default;
};
struct Entry {
    EntryValues values;
    EntryObserver* observer = nullptr;

    void flagsIs(Stp::RstpBpduFlags flags) {
        values.flags = flags;
        if (observer)
            observer->flagsChanged(flags);
    }
};

class RecordObserver {
  public:
    virtual void changed() = 0;
    /// An entry was added or removed.
    virtual void entryChanged(U16 instance) = 0;

  protected:
    ~RecordObserver() = default;
};
struct Record {
    RecordValues values;
    std::map<U16, Entry> entries;
    RecordObserver* observer = nullptr;
};

class PortObserver {
  public:
    virtual void txUpdateChanged(U16 vlan, unsigned value) = 0;
    virtual void changed() = 0;
    /// A record was added or removed.
    virtual void recordChanged(U16 vlan) = 0;

  protected:
    ~PortObserver() = default;
};
struct Port {
    std::unordered_map<U16, unsigned> txUpdate;
    unsigned txNewInfo = 0;
    Stp::TimerVal txHelloWhenOn;
    std::map<U16, Record> txInfo;
    PortObserver* observer = nullptr;

    void txUpdateIs(U16 vlan, unsigned value) {
        txUpdate[vlan] = value;
        if (observer)
            observer->txUpdateChanged(vlan, value);
    }
};

class MstObserver {
  public:
    /// A port was added or removed.
    virtual void portChanged(Kolvu::IntfId port) = 0;

  protected:
    ~MstObserver() = default;
};
struct Mst {
    std::unordered_map<Kolvu::IntfId, Port, PortHash> ports;
    MstObserver* observer = nullptr;
};

class TreeObserver {
  public:
    virtual void changed() = 0;
    /// An MST name was added or removed.
    virtual void mstChanged(std::string const& name) = 0;

  protected:
    ~TreeObserver() = default;
};
struct Tree {
    std::unordered_map<std::string, Mst> msts;
    double heartbeatTimeout = 0;
    TreeObserver* observer = nullptr;
};

class EntryMirror final : public EntryObserver {
  public:
    EntryMirror(Entry& from, Entry& to);
    EntryMirror(EntryMirror const&) = delete;
    EntryMirror& operator=(EntryMirror const&) = delete;
    ~EntryMirror();
    void flagsChanged(Stp::RstpBpduFlags flags) override;
    void changed() override;

  private:
    Entry& from_;
    Entry& to_;
};

class RecordMirror final : public RecordObserver {
  public:
    RecordMirror(Record& from, Record& to);
    RecordMirror(RecordMirror const&) = delete;
    RecordMirror& operator=(RecordMirror const&) = delete;
    ~RecordMirror();
    void changed() override;
    void entryChanged(U16 instance) override;

  private:
    Record& from_;
    Record& to_;
    std::map<U16, EntryMirror> entries_;
};

class PortMirror final : public PortObserver {
  public:
    PortMirror(Port& from, Port& to);
    PortMirror(PortMirror const&) = delete;
    PortMirror& operator=(PortMirror const&) = delete;
    ~PortMirror();
    void txUpdateChanged(U16 vlan, unsigned value) override;
    void changed() override;
    void recordChanged(U16 vlan) override;

  private:
    Port& from_;
    Port& to_;
    std::map<U16, RecordMirror> records_;
};

class MstMirror final : public MstObserver {
  public:
    MstMirror(Mst& from, Mst& to);
    MstMirror(MstMirror const&) = delete;
    MstMirror& operator=(MstMirror const&) = delete;
    ~MstMirror();
    void portChanged(Kolvu::IntfId port) override;

  private:
    Mst& from_;
    Mst& to_;
    std::unordered_map<Kolvu::IntfId, PortMirror, PortHash> ports_;
};

/// Makes the destination equal to the source, and keeps it so until it is destroyed.
class TreeMirror final : public TreeObserver {
  public:
    TreeMirror(Tree& from, Tree& to);
    TreeMirror(TreeMirror const&) = delete;
    TreeMirror& operator=(TreeMirror const&) = delete;
    ~TreeMirror();
    void changed() override;
    void mstChanged(std::string const& name) override;

  private:
    Tree& from_;
    Tree& to_;
    std::unordered_map<std::string, MstMirror> msts_;
};

/// The tree of that many records.
Tree tree(unsigned records, Shape shape = {});
std::string text(Tree const& tree, unsigned records);

} // namespace Bench::Floor
