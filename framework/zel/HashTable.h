#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"
#include "framework/zel/Start.h"

namespace Zel {

/// The link by which an element stands in a hash map: its class derives publicly from this.
/// An element stands in one such map at a time.
class HashMember {
  public:
    HashMember(HashMember const&) = delete;
    HashMember& operator=(HashMember const&) = delete;

  protected:
    HashMember() noexcept = default;
    ~HashMember() = default;

  private:
    friend class HashTable;
    friend struct MapTestAccess;

    HashMember* next_ = nullptr;
    U32 hash_ = 0; // mixed; the last one while not linked
    bool linked_ = false;
};

static_assert(sizeof(HashMember) == sizeof(void*) + 2 * sizeof(U32));

/// Chains of links in a power of two of buckets: the part of HashMap that knows neither elements
/// nor keys.
///
/// The highest bits of a member's hash are its bucket, and each chain ascends by hash (and by key
/// where hashes are equal, as the map sees to). So the members have one order whatever the number
/// of buckets, and growing splits every chain in two neighbours. Without members the table owns no
/// memory; with members it never gives buckets back. The members are not owned.
class VARNOL_API HashTable {
  public:
    /// What KeyedMap calls the link.
    using Member = HashMember;

    /// @param initialBuckets  taken up to the next power of two, and allocated when first needed
    explicit HashTable(U32 initialBuckets) noexcept;
    HashTable(HashTable const&) = delete;
    HashTable& operator=(HashTable const&) = delete;
    ~HashTable() { delete[] chains_; }

    /// Spreads a hash over all bits, the high ones above all; different hashes stay different. Its
    /// upper half is folded into the lower one (exclusive or), and all multiplied by 2,654,435,761,
    /// modulo 2^32: the prime next to 2^32 over the golden ratio.
    static constexpr U32 mixed(U32 hash) noexcept { return (hash ^ hash >> 16) * 0x9e3779b1; }

    /// Counted as they come and go: takes constant time.
    U32 members() const noexcept { return members_; }
    /// Differs after every change, until 2^32 of them were made.
    U32 version() const noexcept { return version_; }
    /// A power of two; 0 while there are none.
    U32 buckets() const noexcept { return chains_ ? U32{1} << bits_ : 0; }
    /// The bucket of a member with this mixed hash.
    U32 bucket(U32 hash) const noexcept { return static_cast<U32>((U64{hash} << bits_) >> 32); }

    /// The first member of the bucket for this mixed hash; null when there is none.
    Member* chain(U32 hash) const noexcept { return chains_ ? chains_[bucket(hash)] : nullptr; }
    /// The member after this one in the same bucket; null after the last.
    static Member* chainNext(Member const& member) noexcept { return member.next_; }
    /// The mixed hash under which the member was linked last.
    static U32 hash(Member const& member) noexcept { return member.hash_; }
    /// Whether the member stands in any table.
    static bool linked(Member const& member) noexcept { return member.linked_; }

    /// The first member in or after the bucket, which becomes that member's; null when there is
    /// none.
    Member* firstFromBucket(U32& bucket) const noexcept;
    /// The first member of all; null when there is none.
    Member* first() const noexcept {
        U32 from = 0;
        return firstFromBucket(from);
    }
    /// The member after this one, in its chain or a later bucket; null after the last.
    Member* next(Member const& member) const noexcept {
        U32 from = bucket(member.hash_) + 1;
        return member.next_ ? member.next_ : firstFromBucket(from);
    }

    /// Has buckets ready for one more member. Throws std::bad_alloc when there are none at all;
    /// when more of them are not to be had, the chains just get longer.
    void makeRoom();
    /// Puts a member that stands nowhere after a member of its chain (null: in front of all).
    /// Requires: makeRoom().
    void link(Member& member, U32 hash, Member* previous) noexcept;
    /// Takes the member out. False, and nothing done, when it does not stand in this table.
    bool unlink(Member& member) noexcept;
    /// Puts a member that stands nowhere in the place of another. False, and nothing done, when
    /// the other does not stand in this table.
    bool replace(Member& old, Member& replacement) noexcept;

    /// Whether links, buckets and the count are as they ought to be. The order is the map's.
    bool check() const noexcept;

  private:
    friend struct MapTestAccess;

    Member** linkTo(Member const& member) const noexcept;
    void grow() noexcept;

    Member** chains_ = nullptr;
    U32 members_ = 0;
    U32 version_ = counterStart<U32>();
    const U8 initialBits_;
    U8 bits_; // there are 2^bits_ buckets, or will be
};

} // namespace Zel
