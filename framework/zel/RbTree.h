#pragma once

#include "framework/zel/Api.h"
#include "framework/zel/Int.h"
#include "framework/zel/Start.h"

#include <cstdint>
#include <optional>

namespace Zel {

/// The links by which an element stands in an ordered map: its class derives publicly from this.
/// An element stands in one such map at a time.
class RbTreeMember {
  public:
    RbTreeMember(RbTreeMember const&) = delete;
    RbTreeMember& operator=(RbTreeMember const&) = delete;

  protected:
    RbTreeMember() noexcept = default;
    ~RbTreeMember() = default;

  private:
    friend class RbTree;
    friend struct MapTestAccess;

    static constexpr std::uintptr_t redBit = 1;
    static constexpr std::uintptr_t linkedBit = 2;
    static constexpr std::uintptr_t bits = redBit | linkedBit;

    RbTreeMember* parent() const noexcept {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a pointer, and two bits in it
        return reinterpret_cast<RbTreeMember*>(parentAndBits_ & ~bits);
    }
    void parentIs(RbTreeMember* parent) noexcept {
        parentAndBits_ = reinterpret_cast<std::uintptr_t>(parent) | (parentAndBits_ & bits);
    }
    bool red() const noexcept { return (parentAndBits_ & redBit) != 0; }
    void redIs(bool red) noexcept {
        parentAndBits_ = (parentAndBits_ & ~redBit) | (red ? redBit : 0);
    }
    bool linked() const noexcept { return (parentAndBits_ & linkedBit) != 0; }

    std::uintptr_t parentAndBits_ = 0;
    RbTreeMember* child_[2] = {}; // left, right
};

static_assert(sizeof(RbTreeMember) == 3 * sizeof(void*));

/// A red-black tree of links: the part of RbTreeMap that knows neither elements nor keys.
///
/// The root is black, a red member has no red child, and every way down from a member passes the
/// same number of black ones; so no way is longer than twice another. The tree owns nothing.
class VARNOL_API RbTree {
  public:
    /// What KeyedMap calls the links.
    using Member = RbTreeMember;
    /// On the left of a member are those before it, on the right those after it.
    enum Side : bool { left, right };

    RbTree() noexcept = default;
    RbTree(RbTree const&) = delete;
    RbTree& operator=(RbTree const&) = delete;

    /// Counted as they come and go: takes constant time.
    U32 members() const noexcept { return members_; }
    /// Differs after every change, until 2^32 of them were made.
    U32 version() const noexcept { return version_; }

    ///@{
    /// Null when there is none.
    Member* root() const noexcept { return root_; }
    static Member* child(Member const& member, Side side) noexcept { return member.child_[side]; }
    ///@}
    /// The leftmost member; null when there is none.
    Member* first() const noexcept { return root_ ? outermost(root_, left) : nullptr; }
    /// The member to the right of this one; null after the last.
    Member* next(Member const& member) const noexcept {
        if (member.child_[right])
            return outermost(member.child_[right], left);
        Member const* at = &member;
        Member* parent = at->parent();
        while (parent && sideOf(*at, *parent) == right) {
            at = parent;
            parent = at->parent();
        }
        return parent;
    }
    /// Whether the member stands in any tree.
    static bool linked(Member const& member) noexcept { return member.linked(); }

    /// Puts a member that stands nowhere at a free side of the parent (null: into the empty tree).
    void link(Member& member, Member* parent, Side side) noexcept;
    /// Takes the member out. False, and nothing done, when it does not stand in this tree.
    bool unlink(Member& member) noexcept;
    /// Puts a member that stands nowhere in the place of another, in constant time. False, and
    /// nothing done, when the other is found not to stand here: it stands nowhere, or is the root
    /// of another tree.
    /// Requires: it does not stand deeper in another tree.
    bool replace(Member& old, Member& replacement) noexcept;

    /// Whether links, bits, colours, black heights and the count are as they ought to be.
    bool check() const noexcept;

  private:
    friend struct MapTestAccess;

    static Side opposite(Side side) noexcept { return Side(!side); }
    static bool red(Member const* member) noexcept { return member && member->red(); }
    static Member* outermost(Member* member, Side side) noexcept {
        while (member->child_[side])
            member = member->child_[side];
        return member;
    }
    static Side sideOf(Member const& member, Member const& parent) noexcept {
        return Side(parent.child_[right] == &member);
    }

    bool contains(Member const& member) const noexcept;
    void hang(Member* member, Member* parent, Member const& former) noexcept;
    void rotate(Member& top, Side side) noexcept;
    void cut(Member& member) noexcept;
    void lengthen(Member& shortened, Side side) noexcept;
    void substitute(Member& old, Member& replacement) noexcept;
    std::optional<U32> blackHeight(Member const* top, Member const* parent,
                                   U32& seen) const noexcept;

    Member* root_ = nullptr;
    U32 members_ = 0;
    U32 version_ = counterStart<U32>();
};

} // namespace Zel
