#pragma once

#include "framework/zel/Int.h"

namespace Zel {

/// The way of the tests into the links of a map, to break them.
struct MapTestAccess {
    template <class Map> static auto& core(Map& map) { return map.core_; }
    template <class Map> static auto& nodes(Map& map) { return map.nodes_; }

    template <class Core> static U32& members(Core& core) { return core.members_; }
    template <class Core> static U32& version(Core& core) { return core.version_; }
    template <class Node> static U32& references(Node const& node) { return node.references_; }
    template <class Tree> static auto& root(Tree& tree) { return tree.root_; }
    template <class Member> static auto& parentAndBits(Member& member) {
        return member.parentAndBits_;
    }
    template <class Member> static auto& child(Member& member, int side) {
        return member.child_[side];
    }

    template <class Table> static auto& chains(Table& table) { return table.chains_; }
    template <class Table> static auto& bits(Table& table) { return table.bits_; }
    template <class Table> static auto& chain(Table& table, U32 bucket) {
        return table.chains_[bucket];
    }
    template <class Member> static auto& next(Member& member) { return member.next_; }
    template <class Member> static U32& hash(Member& member) { return member.hash_; }
    template <class Member> static bool& linked(Member& member) { return member.linked_; }
};

} // namespace Zel
