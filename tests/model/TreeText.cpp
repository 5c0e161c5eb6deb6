#include "tests/model/TreeText.h"

#include "model/RxStatus.h"
#include "model/TxStatus.h"
#include "tests/platform/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <stdexcept>

#include <gtest/gtest.h>

namespace TreeText {
namespace {

template <class T, class... Ts>
concept OneOf = (std::same_as<T, Ts> || ...);

template <class T> std::string valueText(T const& value) {
    if constexpr (OneOf<T, Zel::Name, Kolvu::IntfId, double>)
        return text(value);
    else if constexpr (std::integral<T> && !std::same_as<T, bool>)
        return std::to_string(value);
    else
        return textOf(value);
}

template <class E, class F> bool visitedAs(Zel::PtrInterface const& entity, F const& visit) {
    if (entity.fwkType() != &E::_zelType)
        return false;
    visit(static_cast<E const&>(entity));
    return true;
}

/// Calls visit(entity) with the entity as what it is.
template <class F> void visitEntity(Zel::PtrInterface const& entity, F const& visit) {
    using namespace Varnol;
    const bool known =
        visitedAs<TxStatus>(entity, visit) || visitedAs<TxMstStatus>(entity, visit) ||
        visitedAs<TxMstPortStatus>(entity, visit) || visitedAs<RxStatus>(entity, visit) ||
        visitedAs<RxMstStatus>(entity, visit) || visitedAs<RxMstPortStatus>(entity, visit) ||
        visitedAs<IntxInfo>(entity, visit) || visitedAs<IntxMstiInfo>(entity, visit);
    if (!known)
        throw std::invalid_argument("no entity of the model");
}

template <class E> void addContents(E const& entity, std::string const& place, Lines& lines) {
    Zel::forEachAttribute<E>([&](auto attribute) {
        using A = decltype(attribute);
        const std::string name = place + std::string(A::name);
        if constexpr (Zel::CollectionAttribute<A>) {
            for (auto const& child : A::read(entity)) {
                const std::string key = valueText(child->fwkKey());
                lines.push_back(name + "[" + key + "]");
                addContents(*child, place + key + "/", lines);
            }
        } else if constexpr (Zel::ValueMapAttribute<A>) {
            for (auto const& node : A::read(entity))
                lines.push_back(name + "[" + valueText(node.key()) +
                                "]=" + valueText(node.value()));
        } else {
            lines.push_back(name + "=" + valueText(A::read(entity)));
        }
    });
}

} // namespace

std::string text(Zel::Name const& name) { return std::string(name.view()); }

std::string text(Kolvu::IntfId intf) { return std::string(intf.shortName().view()); }

std::string text(double number) {
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), end};
}

Lines contents(Zel::Ptr<Zel::PtrInterface const> const& tree) {
    if (!tree)
        return {"null"};
    Lines lines;
    visitEntity(*tree, [&](auto const& entity) { addContents(entity, "", lines); });
    std::ranges::sort(lines);
    return lines;
}

Lines scalars(Zel::Ptr<Zel::PtrInterface const> const& entity) {
    Lines lines;
    visitEntity(*entity, [&]<class E>(E const& from) {
        Zel::forEachAttribute<E>([&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::ScalarAttribute<A>)
                lines.push_back(std::string(A::name) + "=" + valueText(A::read(from)));
        });
    });
    return lines;
}

void forEachChild(Zel::PtrInterface const& entity,
                  std::function<void(Zel::Ptr<Zel::PtrInterface const> const& child,
                                     std::string const& key)> const& visit) {
    visitEntity(entity, [&]<class E>(E const& from) {
        Zel::forEachAttribute<E>([&](auto attribute) {
            using A = decltype(attribute);
            if constexpr (Zel::CollectionAttribute<A>) {
                for (auto const& child : A::read(from))
                    visit(child, valueText(child->fwkKey()));
            }
        });
    });
}

Change change(Zel::PtrInterface const& entity, Zel::AttributeId id, void const* key) {
    Change change{std::to_string(id), "", nullptr, ""};
    visitEntity(entity, [&]<class E>(E const& from) {
        Zel::dispatchAttribute<E>(id, [&](auto attribute) {
            using A = decltype(attribute);
            change.what = A::name;
            if constexpr (Zel::KeyedAttribute<A>) {
                if (!key)
                    return;
                auto const& named = *static_cast<typename A::Key const*>(key);
                change.key = valueText(named);
                change.what += "[" + change.key + "]";
                if constexpr (Zel::CollectionAttribute<A>) {
                    change.child = Zel::Ptr<typename A::Child const>(A::read(from).find(named));
                    if (!change.child)
                        change.what += " deleted";
                } else if (auto const* node = A::read(from).lookupNodeG(named)) {
                    change.value = "=" + valueText(node->value());
                } else {
                    change.what += " deleted";
                }
            } else {
                EXPECT_EQ(key, nullptr) << A::name << " has no key";
                change.value = "=" + valueText(A::read(from));
            }
        });
    });
    return change;
}

} // namespace TreeText
