#include "framework/zel/RbTree.h"

#include <initializer_list>

namespace Zel {

bool RbTree::contains(Member const& member) const noexcept {
    Member const* top = &member;
    while (Member const* parent = top->parent())
        top = parent;
    return top == root_;
}

void RbTree::link(Member& member, Member* parent, Side side) noexcept {
    member.parentAndBits_ =
        reinterpret_cast<std::uintptr_t>(parent) | Member::redBit | Member::linkedBit;
    (parent ? parent->child_[side] : root_) = &member;
    ++members_;
    ++version_;

    // The new member is red, as that leaves the black heights alone; its parent may be red too.
    Member* at = &member;
    while (red(parent = at->parent())) {
        Member& grandparent = *parent->parent(); // a red member is not the root
        const Side parentSide = sideOf(*parent, grandparent);
        Member* uncle = grandparent.child_[opposite(parentSide)];
        if (!red(uncle)) {
            if (sideOf(*at, *parent) != parentSide) {
                rotate(*parent, parentSide);
                parent = at;
            }
            parent->redIs(false);
            grandparent.redIs(true);
            rotate(grandparent, opposite(parentSide));
            return;
        }
        parent->redIs(false);
        uncle->redIs(false);
        grandparent.redIs(true);
        at = &grandparent;
    }
    root_->redIs(false);
}

bool RbTree::unlink(Member& member) noexcept {
    if (!contains(member))
        return false;
    if (member.child_[left] && member.child_[right]) {
        // The next member has no left child. It leaves its place and takes this one.
        Member& successor = *next(member);
        cut(successor);
        substitute(member, successor);
    } else {
        cut(member);
    }
    member.parentAndBits_ = 0;
    member.child_[left] = member.child_[right] = nullptr;
    --members_;
    ++version_;
    return true;
}

bool RbTree::replace(Member& old, Member& replacement) noexcept {
    if (!old.parent() && root_ != &old)
        return false;
    substitute(old, replacement);
    old.parentAndBits_ = 0;
    old.child_[left] = old.child_[right] = nullptr;
    ++version_;
    return true;
}

/// Hangs the member (null: nothing) below the parent (null: as the root) where the former one was.
void RbTree::hang(Member* member, Member* parent, Member const& former) noexcept {
    (parent ? parent->child_[sideOf(former, *parent)] : root_) = member;
    if (member)
        member->parentIs(parent);
}

/// Sinks the top member to the given side; its child on the other side takes its place.
void RbTree::rotate(Member& top, Side side) noexcept {
    Member& riser = *top.child_[opposite(side)];
    Member* inner = riser.child_[side];
    hang(&riser, top.parent(), top);
    hang(inner, &top, riser);
    riser.child_[side] = &top;
    top.parentIs(&riser);
}

/// Takes a member with one child at most out of its place.
void RbTree::cut(Member& member) noexcept {
    Member* parent = member.parent();
    Member* child = member.child_[member.child_[left] ? left : right];
    if (!child && parent && !member.red())
        lengthen(*parent, sideOf(member, *parent)); // which does not look at the member
    hang(child, parent, member);
    if (child)
        child->redIs(false); // an only child is red, and its parent was black
}

/// Restores the black heights where the ways through one side of a member are to be one black
/// short.
void RbTree::lengthen(Member& shortened, Side side) noexcept {
    Member* parent = &shortened;
    for (;;) {
        const Side far = opposite(side);
        Member* sibling = parent->child_[far];
        if (sibling->red()) {
            sibling->redIs(false);
            parent->redIs(true);
            rotate(*parent, side);
            sibling = parent->child_[far];
        }
        if (red(sibling->child_[side]) || red(sibling->child_[far])) {
            if (!red(sibling->child_[far])) {
                rotate(*sibling, far);
                sibling = parent->child_[far];
            }
            sibling->redIs(parent->red());
            sibling->child_[far]->redIs(false);
            parent->redIs(false);
            rotate(*parent, side);
            return;
        }
        sibling->redIs(true); // now both sides are short
        if (parent->red()) {
            parent->redIs(false);
            return;
        }
        Member* above = parent->parent();
        if (!above)
            return;
        side = sideOf(*parent, *above);
        parent = above;
    }
}

/// Gives a member the place and the colour of another, whose own links are left as they are.
void RbTree::substitute(Member& old, Member& replacement) noexcept {
    hang(&replacement, old.parent(), old);
    replacement.parentAndBits_ = old.parentAndBits_;
    for (const Side side : {left, right}) {
        replacement.child_[side] = old.child_[side];
        if (old.child_[side])
            old.child_[side]->parentIs(&replacement);
    }
}

bool RbTree::check() const noexcept {
    U32 seen = 0;
    return !red(root_) && blackHeight(root_, nullptr, seen) && seen == members_;
}

/// Counts the members from top (null: none) down, below its parent.
/// @return how many black ones are on each way down; nothing if not all is as it ought to be
std::optional<U32> RbTree::blackHeight(Member const* top, Member const* parent,
                                       U32& seen) const noexcept {
    if (!top)
        return 0;
    ++seen;
    // Who has another parent is not descended to: links that lead back do no harm.
    if (top->parent() != parent || !top->linked() || (top->red() && red(parent)) ||
        (top->child_[left] && top->child_[left] == top->child_[right]))
        return {};
    const std::optional<U32> height = blackHeight(top->child_[left], top, seen);
    if (!height || blackHeight(top->child_[right], top, seen) != height)
        return {};
    return *height + (top->red() ? 0 : 1);
}

} // namespace Zel
