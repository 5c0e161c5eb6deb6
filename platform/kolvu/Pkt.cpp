#include "platform/kolvu/Pkt.h"

#include "framework/zel/Exception.h"
#include "framework/zel/Fatal.h"
#include "platform/kolvu/FreeList.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <type_traits>

namespace Kolvu {
namespace {

/// Octets that data, with the room in front of it, has at most.
constexpr std::size_t maxRoom = std::numeric_limits<U32>::max();
/// Octets left free in front of data that a buffer of the usual size is too small for.
constexpr std::size_t spareHeadRoom = 128;

/// What the manager manages. Its destruction does nothing: packets may come back even later.
struct Pool {
    std::mutex mutex; // held while the rest is used, if pointers are to be thread-safe
    U32 capacity = Pkt::Manager::defaultCapacity;
    FreeList buffers{Pkt::Manager::usualSize, Pkt::Manager::keptLimit};
};
static_assert(std::is_trivially_destructible_v<Pool>);

constinit Pool pool;

bool threadSafe() noexcept { return Zel::VFPtrInterface::threadSafePointers_; }

/// Holds the pool's lock, if pointers are to be thread-safe.
class Lock {
  public:
    Lock() noexcept
        : held_(threadSafe()) {
        if (held_) [[unlikely]]
            pool.mutex.lock();
    }
    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;
    ~Lock() {
        if (held_) [[unlikely]]
            pool.mutex.unlock();
    }

  private:
    bool held_;
};

} // namespace

/// Counted memory for octets, and in it the place of one packet. A buffer of the usual size is the
/// home of a packet, which lives in that place, holds a reference to it and has its data there
/// first. Clones hold a reference to where the data stands. The other buffers are nobody's home.
class [[gnu::visibility("hidden")]] Pkt::Buffer {
  public:
    /// A buffer with room for that many octets (up to maxRoom) or more, and one reference. Throws
    /// std::bad_alloc.
    static Buffer* make(std::size_t room);
    /// The same, of the usual size; null when memory is exhausted. Requires: the lock is held.
    static Buffer* usual() noexcept;
    /// Manager::newPkt(), in a buffer of the usual size. Requires: the lock is held, and headData
    /// is at most usualRoom().
    static Ptr newPkt(U32 headData) noexcept;
    static Buffer* homeOf(void const* packet) noexcept {
        auto* place = static_cast<std::byte*>(const_cast<void*>(packet));
        return reinterpret_cast<Buffer*>(place - offsetof(Buffer, packet_));
    }

    U8* begin() noexcept { return reinterpret_cast<U8*>(this + 1); }
    U8* end() noexcept { return reinterpret_cast<U8*>(this) + size_; }
    std::size_t room() const noexcept { return size_ - sizeof(Buffer); }

    /// What room() is of a buffer of the usual size.
    static constexpr std::size_t usualRoom() noexcept {
        return Manager::usualSize - sizeof(Buffer);
    }

    bool isShared() const noexcept { return references_.load(std::memory_order_acquire) != 1; }
    void take() noexcept { Zel::VFPtrInterface::countInc(references_); }
    void give() noexcept {
        if (Zel::VFPtrInterface::countDec(references_) == 1)
            free();
    }

  private:
    explicit Buffer(std::size_t size) noexcept
        : size_(size) {}
    static void* freshMemory() noexcept;
    void free() noexcept;

    std::size_t size_; // of the header, which this class is, and of the octets, which follow it
    // Each is a packet's, and a capacity is less than 2^32: the count cannot wrap.
    std::atomic<U32> references_{1};
    alignas(Pkt) std::byte packet_[sizeof(Pkt)];
};

Pkt::Buffer* Pkt::Buffer::make(std::size_t room) {
    if (room > usualRoom()) {
        const std::size_t size = sizeof(Buffer) + std::min(room + spareHeadRoom, maxRoom);
        return ::new (zelMemAlloc(size)) Buffer(size);
    }
    const Lock lock;
    if (Buffer* const buffer = usual())
        return buffer;
    throw std::bad_alloc();
}

[[gnu::noinline]] void* Pkt::Buffer::freshMemory() noexcept {
    try {
        return zelMemAlloc(Manager::usualSize);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

inline Pkt::Buffer* Pkt::Buffer::usual() noexcept {
    void* memory = pool.buffers.take();
    if (!memory) [[unlikely]]
        memory = freshMemory();
    return memory ? ::new (memory) Buffer(Manager::usualSize) : nullptr;
}

[[gnu::always_inline]] inline Pkt::Ptr Pkt::Buffer::newPkt(U32 headData) noexcept {
    if (globalPktManager().inUse() >= pool.capacity) [[unlikely]]
        return nullptr;
    Buffer* const home = usual();
    if (!home) [[unlikely]]
        return nullptr;
    Zel::AllocTrackTypeInfo::trackAllocationAlone(_zelType.allocations(), typeid(Pkt), sizeof(Pkt));
    return Ptr(::new (home->packet_) Pkt(home, headData));
}

void Pkt::Buffer::free() noexcept {
    if (size_ == Manager::usualSize) {
        const Lock lock;
        if (pool.buffers.give(this))
            return;
    }
    zelMemFree(this);
}

constinit Pkt::Manager Pkt::Manager::global;

Pkt::Ptr Pkt::Manager::newPkt() noexcept { return newPkt(0); }

Pkt::Ptr Pkt::Manager::newPkt(U32 headData) {
    if (threadSafe() || headData > Buffer::usualRoom()) [[unlikely]]
        return newPktWithCare(headData);
    return Buffer::newPkt(headData);
}

Pkt::Ptr Pkt::Manager::newPktWithCare(U32 headData) {
    const bool fits = headData <= Buffer::usualRoom();
    Ptr pkt;
    {
        const Lock lock;
        pkt = Buffer::newPkt(fits ? headData : 0);
    }
    if (pkt && !fits)
        pkt->newSharedHeadData(headData);
    return pkt;
}

U32 Pkt::Manager::inUse() const noexcept {
    return static_cast<U32>(_zelType.allocations().liveCount());
}

U32 Pkt::Manager::capacity() const noexcept {
    const Lock lock;
    return pool.capacity;
}

void Pkt::Manager::capacityIs(U32 capacity) noexcept {
    const Lock lock;
    pool.capacity = capacity;
}

constinit Zel::TypeNode const Pkt::_zelType{"Kolvu::Pkt", Zel::attributeTable<Pkt>};
static const bool registered = Zel::typeNodeIs(Pkt::_zelType);

inline Pkt::Pkt(Buffer* home, U32 headData) noexcept
    : data_{reinterpret_cast<U8*>(home) + Manager::usualSize - headData, headData}
    , buffer_(home) {}

Pkt::~Pkt() {
    if (buffer_ != home())
        buffer_->give();
}

void Pkt::operator delete(void* memory) noexcept {
    // A reference that is given back once too often shall find that none is held.
    std::memset(memory, 0, sizeof(Pkt));
    Buffer* const home = Buffer::homeOf(memory);
    {
        const Lock lock;
        Zel::AllocTrackTypeInfo::trackDeallocationAlone(_zelType.allocations());
        if (!home->isShared() && pool.buffers.give(home)) [[likely]]
            return;
    }
    home->give();
}

Pkt::Ptr Pkt::clone() const noexcept {
    Ptr copy = globalPktManager().newPkt();
    if (copy) {
        buffer_->take();
        copy->buffer_ = buffer_;
        copy->data_ = data_;
    }
    return copy;
}

void Pkt::newSharedHeadData(U32 n) {
    if (headRoom() < n || buffer_->isShared()) [[unlikely]]
        moveToOwnBuffer(n);
    data_.base -= n;
    data_.length += n;
}

inline std::size_t Pkt::headRoom() const noexcept {
    return static_cast<std::size_t>(data_.base - buffer_->begin());
}

void Pkt::moveToOwnBuffer(U32 headRoomNeeded) {
    if (headRoomNeeded == 0)
        return;
    const std::size_t room = std::size_t{headRoomNeeded} + data_.length;
    if (room > maxRoom)
        Zel::throwRangeException("a packet with 2^32 octets of data or more is not allowed");
    const bool atHome = buffer_ == home();
    const bool homeFits = !home()->isShared() && home()->room() >= room; // never of one at home
    Buffer* own = homeFits ? home() : Buffer::make(room);
    U8* base = own->end() - data_.length;
    std::memcpy(base, data_.base, data_.length);
    if (!atHome)
        buffer_->give();
    buffer_ = own;
    data_.base = base;
}

inline Pkt::Buffer* Pkt::home() const noexcept { return Buffer::homeOf(this); }

void Pkt::noSuchIoVec() noexcept { Zel::fatal("a packet has no I/O vector of that index"); }

} // namespace Kolvu
