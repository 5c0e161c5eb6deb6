#pragma once

#include "framework/zel/Object.h"

#include <span>

namespace Kolvu {

using Zel::U32;
using Zel::U8;

/// A packet: octets in a counted buffer that has room in front of them for headers.
///
/// Packets come from the packet manager, are held by Pkt::Ptr, and go back to the manager with the
/// last reference. Clones share a buffer. References to packets and to buffers are counted with
/// atomic operations, and the manager takes a lock, only while VFPtrInterface::threadSafePointers_
/// is set; different packets, clones too, may then be used by different threads.
class VARNOL_API Pkt final : public Zel::Object<Pkt, Zel::PtrInterface> {
  public:
    class Manager;

    /// A run of octets in memory.
    struct IoVec {
        U8* base;   ///< the first octet; the packet's
        U32 length; ///< in octets
    };

    static Zel::TypeNode const _zelType;

    /// Another packet with the same data, in the same buffer: what is written through one is seen
    /// through both, until either is grown. Null when newPkt() would return null.
    Ptr clone() const noexcept;
    ~Pkt() override;

    /// The data is in one piece: 1.
    U32 ioVecCount() const noexcept { return 1; }
    /// Fatal when there is no vector of that index.
    /// Invalidated: by newSharedHeadData().
    IoVec ioVec(U32 index = 0) noexcept {
        if (index >= ioVecCount()) [[unlikely]]
            noSuchIoVec();
        return data_;
    }
    /// Invalidated: by newSharedHeadData().
    std::span<U8> data() noexcept { return {data_.base, data_.length}; }
    std::span<U8 const> data() const noexcept { return {data_.base, data_.length}; }

    /// Prepends n octets of any value to the data, which keeps its octets. The data moves to
    /// another buffer when its buffer has less room in front of it, or has other users.
    /// Throws Zel::RangeException when the data would have 2^32 octets or more, std::bad_alloc
    /// when memory is exhausted; the packet is then as it was.
    void newSharedHeadData(U32 n);

    /// Gives the memory of a destroyed packet back to the manager.
    static void operator delete(void* memory) noexcept;

  private:
    class Buffer;

    Pkt(Buffer* home, U32 headData) noexcept;
    [[noreturn]] static void noSuchIoVec() noexcept;
    Buffer* home() const noexcept;
    std::size_t headRoom() const noexcept;
    void moveToOwnBuffer(U32 headRoomNeeded);

    IoVec data_;
    Buffer* buffer_; // where the data stands; a reference to it is held unless it is home()
};

/// Where packets come from: at most `capacity` of them at a time. Each brings a buffer of the usual
/// size along; the memory of both is kept for the next packet.
class VARNOL_API Pkt::Manager {
  public:
    static constexpr U32 defaultCapacity = 16384; ///< in packets
    /// Memory of a packet with its buffer, in octets: an Ethernet frame and more headers fit in.
    static constexpr U32 usualSize = 2048;
    /// So many packets' memory is kept at most.
    static constexpr U32 keptLimit = 256;

    Manager(Manager const&) = delete;
    Manager& operator=(Manager const&) = delete;

    /// A packet without data; null when `capacity` packets are in use or memory is exhausted.
    Ptr newPkt() noexcept;
    /// A packet with so many octets of data, of any value: newPkt(), and newSharedHeadData() of the
    /// packet. Throws as the latter.
    Ptr newPkt(U32 headData);

    /// The number of packets that exist.
    U32 inUse() const noexcept;
    /// How many packets there may be at a time.
    U32 capacity() const noexcept;
    /// Decides on the packets to come; those in use stay so, even when they are more.
    void capacityIs(U32 capacity) noexcept;

  private:
    friend Manager& globalPktManager() noexcept;

    static Manager global;

    /// newPkt() with the lock held, or for more data than a buffer of the usual size has room for.
    [[gnu::noinline, gnu::visibility("hidden")]] static Ptr newPktWithCare(U32 headData);
    constexpr Manager() noexcept = default;
};

/// The process's packet manager. It is never destroyed: packets may be released at any time.
inline Pkt::Manager& globalPktManager() noexcept { return Pkt::Manager::global; }

} // namespace Kolvu
