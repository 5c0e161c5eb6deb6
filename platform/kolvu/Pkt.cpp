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
class Pkt::Buffer {
  public:
    /// A buffer with room for that many octets (up to maxRoom) or more, and one reference. Throws
    /// std::bad_alloc.
    static Buffer* make(std::size_t room);
    /// The same, of the usual size. Requires: the lock is held.
    static Buffer* usual();
    static Buffer* homeOf(void const* packet) noexcept {
        auto* place = static_cast<std::byte*>(const_cast<void*>(packet));
        return reinterpret_cast<Buffer*>(place - offsetof(Buffer, packet_));
    }

    void* packet() noexcept { return packet_; }
    U8* begin() noexcept { return reinterpret_cast<U8*>(this + 1); }
    U8* end() noexcept { return reinterpret_cast<U8*>(this) + size_; }
    std::size_t room() const noexcept { return size_ - sizeof(Buffer); }

    bool isShared() const noexcept { return references_.load(std::memory_order_acquire) != 1; }
    void take() noexcept {
        if (threadSafe()) [[unlikely]]
            references_.fetch_add(1, std::memory_order_relaxed);
        else
            references_.store(references_.load(std::memory_order_relaxed) + 1,
                              std::memory_order_relaxed);
    }
    void give() noexcept {
        U32 before;
        if (threadSafe()) [[unlikely]] {
            before = references_.fetch_sub(1, std::memory_order_acq_rel);
        } else {
            before = references_.load(std::memory_order_relaxed);
            references_.store(before - 1, std::memory_order_relaxed);
        }
        if (before == 1)
            free();
    }

  private:
    explicit Buffer(std::size_t size) noexcept
        : size_(size) {}
    void free() noexcept;

    std::size_t size_; // of the header, which this class is, and of the octets, which follow it
    std::atomic<U32> references_{1};
    alignas(Pkt) std::byte packet_[sizeof(Pkt)];
};

Pkt::Buffer* Pkt::Buffer::make(std::size_t room) {
    if (room > Manager::usualSize - sizeof(Buffer)) {
        const std::size_t size = sizeof(Buffer) + std::min(room + spareHeadRoom, maxRoom);
        return ::new (zelMemAlloc(size)) Buffer(size);
    }
    const Lock lock;
    return usual();
}

inline Pkt::Buffer* Pkt::Buffer::usual() {
    void* memory = pool.buffers.take();
    if (!memory) [[unlikely]]
        memory = zelMemAlloc(Manager::usualSize);
    return ::new (memory) Buffer(Manager::usualSize);
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

Pkt::Manager& globalPktManager() noexcept { return Pkt::Manager::global; }

Pkt::Ptr Pkt::Manager::newPkt() noexcept {
    const Lock lock;
    if (inUse() >= pool.capacity)
        return nullptr;
    try {
        Buffer* home = Buffer::usual();
        Zel::AllocTrackTypeInfo::trackAllocationAlone(_zelType.allocations(), typeid(Pkt),
                                                      sizeof(Pkt));
        return Ptr(::new (home->packet()) Pkt(home));
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
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

Pkt::Pkt(Buffer* home) noexcept
    : data_{home->end(), 0}
    , buffer_(home) {}

Pkt::~Pkt() {
    if (buffer_ != home())
        buffer_->give();
}

void Pkt::operator delete(void* memory) noexcept {
    // A reference that is given back once too often shall find that none is held.
    std::memset(memory, 0, sizeof(Pkt));
    {
        const Lock lock;
        Zel::AllocTrackTypeInfo::trackDeallocationAlone(_zelType.allocations());
    }
    Buffer::homeOf(memory)->give();
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
    const bool homeFits = !atHome && !home()->isShared() && home()->room() >= room;
    Buffer* own = homeFits ? home() : Buffer::make(room);
    U8* base = own->end() - data_.length;
    std::memcpy(base, data_.base, data_.length);
    if (!atHome)
        buffer_->give();
    buffer_ = own;
    data_.base = base;
    if (headRoom() < headRoomNeeded)
        Zel::fatal("the data of a packet lies outside its buffer");
}

inline Pkt::Buffer* Pkt::home() const noexcept { return Buffer::homeOf(this); }

void Pkt::noSuchIoVec() noexcept { Zel::fatal("a packet has no I/O vector of that index"); }

} // namespace Kolvu
