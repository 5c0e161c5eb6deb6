#pragma once

#include "framework/zel/Object.h"
#include "framework/zel/Trace.h"
#include "model/RxStatus.h"
#include "model/TxStatus.h"

#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// What the tests of transmit trees and their syncers share: whole trees as texts, what is written
/// to a tree, and a count of the objects that are alive.
namespace TxTrees {

using Lines = std::vector<std::string>;

inline constexpr auto et1 = Kolvu::IntfId::ethernet(1);
inline constexpr auto et2 = Kolvu::IntfId::ethernet(2);
inline constexpr auto et3 = Kolvu::IntfId::ethernet(3, 1);
inline constexpr auto po1 = Kolvu::IntfId::portChannel(1);

/// A key or a value as text; an interface by its short name.
template <class T> std::string text(T const& value) {
    if constexpr (std::is_same_v<T, Kolvu::IntfId>) {
        return std::string(value.shortName().view());
    } else if constexpr (std::is_same_v<T, Zel::Name>) {
        return std::string(value.view());
    } else if constexpr (std::is_arithmetic_v<T>) {
        std::ostringstream stream;
        stream << +value;
        return stream.str();
    } else {
        Zel::TraceStream stream;
        stream << value;
        return std::string(stream.text());
    }
}

template <class E>
void addContents(E const& entity, std::string const& place, std::set<std::string>& lines) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        const std::string name = place + std::string(A::name);
        if constexpr (Zel::CollectionAttribute<A>) {
            for (auto const& child : A::read(entity)) {
                const std::string key = text(child->fwkKey());
                lines.insert(name + "[" + key + "]");
                addContents(*child, place + key + "/", lines);
            }
        } else if constexpr (Zel::ValueMapAttribute<A>) {
            for (auto const& node : A::read(entity))
                lines.insert(name + "[" + text(node.key()) + "]=" + text(node.value()));
        } else {
            lines.insert(name + "=" + text(A::read(entity)));
        }
    });
}

/// Everything that a tree holds, a line for each child, entry and value.
template <class E> std::set<std::string> contents(Zel::Ptr<E> const& tree) {
    std::set<std::string> lines;
    addContents(std::as_const(*tree), "", lines);
    return lines;
}

/// A reactor that calls a function.
template <class E> class Watcher final : public Zel::Object<Watcher<E>, Zel::NotifieeConstOf<E>> {
  public:
    using React = std::function<void(E const& entity, Zel::AttributeId id, void const* key)>;
    static Zel::TypeNode const _zelType;

    explicit Watcher(React react)
        : react_(std::move(react)) {}

    void onAttribute(Zel::AttributeId id, void const* key) override {
        const Zel::Ptr<Watcher> alive(this);
        react_(*this->watched(), id, key);
    }

  private:
    React react_;
};

template <class E> constinit Zel::TypeNode const Watcher<E>::_zelType{"Watcher", {}};

template <class E>
Zel::Ptr<Watcher<E>> watch(Zel::Ptr<E> const& entity, typename Watcher<E>::React react) {
    auto watcher = Zel::newActive<Watcher<E>>(std::move(react));
    watcher->notifierIs(entity);
    return watcher;
}

/// Keeps what is written to a tree, and to all that is or comes under it, in order: as
/// "mst1/Et1/txUpdate[10]=5", "mst1/Et1/txInfo[10]" for a record that is there afterwards and
/// "mst1/Et1/txInfo[10] deleted". What was removed from the tree is watched on.
class Journal {
  public:
    Journal() = default;
    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    template <class E> void follow(Zel::Ptr<E const> const& entity, std::string const& place = "") {
        Zel::forEachAttribute<E>([&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::CollectionAttribute<A>) {
                for (auto const& child : A::read(*entity))
                    follow<typename A::Child>(child, place + text(child->fwkKey()) + "/");
            }
        });
        auto watcher = Zel::newActive<Watcher<E>>(
            [this, place](E const& from, Zel::AttributeId id, void const* key) {
                note(from, place, id, key);
            });
        watcher->notifierIs(entity);
        watchers_.push_back(std::move(watcher));
    }

    /// What was written since the last time.
    Lines take() { return std::exchange(lines_, {}); }
    /// Forgets all, and watches no more.
    void close() {
        watchers_.clear();
        lines_.clear();
    }

    /// Called inside each notification, after its line was kept.
    std::function<void(std::string const& line)> look;

  private:
    template <class E>
    void note(E const& entity, std::string const& place, Zel::AttributeId id, void const* key) {
        std::string line = place;
        Zel::dispatchAttribute<E>(id, [&](auto attribute) {
            using A = decltype(attribute);
            line += A::name;
            if constexpr (Zel::KeyedAttribute<A>) {
                auto const& named = *static_cast<typename A::Key const*>(key);
                line += "[" + text(named) + "]";
                if constexpr (Zel::CollectionAttribute<A>) {
                    const Zel::Ptr<typename A::Child const> child(A::read(entity).find(named));
                    if (child)
                        follow<typename A::Child>(child, place + text(named) + "/");
                    else
                        line += " deleted";
                } else {
                    auto const* node = A::read(entity).lookupNodeG(named);
                    line += node ? "=" + text(node->value()) : " deleted";
                }
            } else {
                EXPECT_EQ(key, nullptr) << line;
                line += "=" + text(A::read(entity));
            }
        });
        lines_.push_back(line);
        if (look)
            look(line);
    }

    Lines lines_;
    std::vector<Zel::Ptr<Zel::Entity::NotifieeConst>> watchers_;
};

/// The live objects of each registered type.
inline std::map<std::string, Zel::U64> liveObjects() {
    std::map<std::string, Zel::U64> live;
    for (auto const* type = Zel::lastTypeNode(); type; type = type->previous())
        live[std::string(type->name())] = type->allocations().liveCount();
    return live;
}

/// Runs each test with plain and with atomic counting. Whatever a test makes is gone at its end.
class Test : public testing::TestWithParam<bool> {
  protected:
    Test()
        : former_(std::exchange(Zel::VFPtrInterface::threadSafePointers_, GetParam()))
        , live_(liveObjects()) {}
    ~Test() override { Zel::VFPtrInterface::threadSafePointers_ = former_; }

    /// To be called when the fixture has let go of all that it holds.
    void expectNothingLeft() const { EXPECT_EQ(liveObjects(), live_); }

  private:
    bool former_;
    std::map<std::string, Zel::U64> live_;
};

inline std::string countingName(testing::TestParamInfo<bool> const& info) {
    return info.param ? "AtomicCounts" : "PlainCounts";
}

} // namespace TxTrees
