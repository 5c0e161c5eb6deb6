#pragma once

#include "framework/zel/HashMap.h"

#include <iterator>
#include <type_traits>
#include <utility>

namespace Zel {

/// Values of an entity by key. The values are the map's own; a map without any owns no memory.
///
/// No change invalidates a walk (see MapWalk): a node stays valid in the loop's body even when its
/// entry is erased there. Walks, and the order of the entries, are those of HashMap.
///
/// Entity and Hash are as for HashMap; keys are copied, and values moved without throwing.
template <class Entity, class Key, class Value, class Hash = HashHelper::Default<Key>>
class HashMap2018 {
  public:
    /// An entry: a key, and a value to be read. Good until the entry is erased, or until a walk
    /// that stands on it goes on.
    class Node : public HashMember {
      public:
        ///@{
        /// The entry's own, as long as the node is good; the value changes with valueIs().
        Key const& key() const noexcept { return key_; }
        Value const& value() const noexcept { return value_; }
        ///@}

        ///@{
        /// What a map asks of its elements, see KeyedMap and Ptr.
        Key const& fwkKey() const noexcept { return key_; }
        void referenceInc() const noexcept { ++references_; }
        void referenceDec() const noexcept {
            if (--references_ == 0)
                destroy();
        }
        ///@}

      private:
        friend class HashMap2018;

        Node(Key const& key, Value&& value)
            : key_(key)
            , value_(std::move(value)) {}
        ~Node() = default;

        // Inlined into its callers, g++ 12 takes each use of a node after one reference of several
        // was given back for a use of a deleted one.
        [[gnu::noinline]] void destroy() const noexcept { delete this; }

        // The map's, and those of walks, 24 octets each. The 2^32nd takes the count to 0, and with
        // one more the next that goes frees what others use: that takes 96 GiB of walks on one
        // node. There is no test for it, which every step of a walk would pay for.
        mutable U32 references_ = 0;
        Key const key_;
        Value value_;
    };

  private:
    using Nodes = HashMap<Node, Key, Entity, Hash>;

  public:
    /// A walk over the entries, see MapWalk; it stands on nodes.
    class Iterator {
      public:
        Node const& operator*() const noexcept { return **walk_; }
        Node const* operator->() const noexcept { return (*walk_).ptr(); }
        Iterator& operator++() noexcept {
            ++walk_;
            return *this;
        }
        bool operator==(std::default_sentinel_t end) const noexcept { return walk_ == end; }

      private:
        friend class HashMap2018;
        explicit Iterator(Nodes const& nodes) noexcept
            : walk_(nodes) {}

        typename Nodes::ConstWalk walk_;
    };

    /// @param initialBuckets  buckets to begin with, made with the first insertion
    explicit HashMap2018(U32 initialBuckets = 4) noexcept
        : nodes_(initialBuckets) {}

    /// The number of entries.
    U32 members() const noexcept { return nodes_.members(); }

    /// The entry with this key; null when there is none.
    Node const* lookupNodeG(Key const& key) const noexcept { return nodes_.find(key); }

    Iterator begin() const noexcept { return Iterator(nodes_); }
    std::default_sentinel_t end() const noexcept { return {}; }
    /// Moves on to the next entry, or to the end.
    static void advance(Iterator& iterator) noexcept { ++iterator; }

    /// Gives the key this value, making an entry when there is none.
    /// Throws std::bad_alloc, or what copying the key throws, and then changes nothing.
    /// Invalidates: nothing; nodes show the new value.
    void valueIs(Key const& key, Value value) {
        static_assert(std::is_nothrow_move_constructible_v<Value>);
        static_assert(std::is_nothrow_swappable_v<Value>);
        if (Node* node = nodes_.find(key)) {
            using std::swap;
            swap(node->value_, value); // the former value dies last of all
        } else {
            const Ptr<Node> made(new Node(key, std::move(value)));
            nodes_.newMemberG(made, made->key());
        }
    }

    /// Erases the entry with this key; false when there is none.
    /// Invalidates: the node, unless a walk stands on it.
    bool valueDel(Key const& key) noexcept {
        Node* node = nodes_.find(key);
        if (!node)
            return false;
        nodes_.deleteMember(node);
        return true;
    }

    /// Erases all entries, as HashMap::emptyAllBuckets() does.
    /// Invalidates: all nodes but those on which walks stand.
    void emptyAll() noexcept { nodes_.emptyAllBuckets(); }

    /// Whether the map's structure, order and count are sound. Takes time linear in its size.
    [[nodiscard]] bool check() const noexcept { return nodes_.check(); }

  private:
    friend struct MapTestAccess;

    Nodes nodes_;
};

} // namespace Zel
