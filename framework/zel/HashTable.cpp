#include "framework/zel/HashTable.h"

#include <bit>
#include <cstddef>
#include <new>
#include <utility>

namespace Zel {
namespace {

constexpr U8 maxBits = 31;

U8 bitsFor(U32 buckets) {
    return buckets > U32{1} << maxBits ? maxBits : static_cast<U8>(std::bit_width(buckets - 1));
}

} // namespace

HashTable::HashTable(U32 initialBuckets) noexcept
    : initialBits_(initialBuckets == 0 ? U8{0} : bitsFor(initialBuckets))
    , bits_(initialBits_) {}

HashMember* HashTable::firstFromBucket(U32& bucket) const noexcept {
    const U32 end = buckets();
    while (bucket < end && !chains_[bucket])
        ++bucket;
    return bucket < end ? chains_[bucket] : nullptr;
}

void HashTable::makeRoom() {
    if (!chains_)
        chains_ = new Member* [std::size_t{1} << bits_] {};
    else if (members_ >= buckets())
        grow();
}

void HashTable::grow() noexcept {
    if (bits_ == maxBits)
        return;
    const std::size_t former = buckets();
    Member** chains = new (std::nothrow) Member*[2 * former];
    if (!chains)
        return;
    ++bits_;
    for (std::size_t i = 0; i < former; ++i) {
        Member** link = &chains[2 * i];
        *link = chains_[i];
        while (*link && bucket((*link)->hash_) == 2 * i)
            link = &(*link)->next_;
        chains[2 * i + 1] = *link;
        *link = nullptr;
    }
    delete[] std::exchange(chains_, chains);
}

void HashTable::link(Member& member, U32 hash, Member* previous) noexcept {
    Member*& link = previous ? previous->next_ : chains_[bucket(hash)];
    member.next_ = link;
    member.hash_ = hash;
    member.linked_ = true;
    link = &member;
    ++members_;
    ++version_;
}

/// The link that points at the member; null when none of this table does.
HashMember** HashTable::linkTo(Member const& member) const noexcept {
    if (!chains_)
        return nullptr;
    Member** link = &chains_[bucket(member.hash_)];
    while (*link && *link != &member)
        link = &(*link)->next_;
    return *link ? link : nullptr;
}

bool HashTable::unlink(Member& member) noexcept {
    Member** link = linkTo(member);
    if (!link)
        return false;
    *link = std::exchange(member.next_, nullptr);
    member.linked_ = false;
    ++version_;
    if (--members_ == 0) {
        delete[] std::exchange(chains_, nullptr);
        bits_ = initialBits_;
    }
    return true;
}

bool HashTable::replace(Member& old, Member& replacement) noexcept {
    Member** link = linkTo(old);
    if (!link)
        return false;
    *link = &replacement;
    replacement.next_ = std::exchange(old.next_, nullptr);
    replacement.hash_ = old.hash_;
    replacement.linked_ = true;
    old.linked_ = false;
    ++version_;
    return true;
}

bool HashTable::check() const noexcept {
    U32 seen = 0;
    for (U32 i = 0; i < buckets(); ++i)
        for (Member const* at = chains_[i]; at; at = at->next_)
            // The count ends the chain even where the links lead back to a member already seen.
            if (++seen > members_ || !at->linked_ || bucket(at->hash_) != i)
                return false;
    return seen == members_ && (chains_ != nullptr) == (members_ != 0);
}

} // namespace Zel
