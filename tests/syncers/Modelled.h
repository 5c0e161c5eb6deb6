#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// What the models of the trees and of their syncers share. A model is made of plain maps; an
/// object that one holder removes and another goes on writing to is shared, as in the trees.
namespace Modelled {

template <class Map> typename Map::mapped_type find(Map const& map, typename Map::key_type key) {
    const auto at = map.find(key);
    return at == map.end() ? nullptr : at->second;
}
/// Creates what is missing.
template <class Map> typename Map::mapped_type ensure(Map& map, typename Map::key_type key) {
    auto& at = map[key];
    if (!at)
        at = std::make_shared<typename Map::mapped_type::element_type>();
    return at;
}
/// Creates what is missing.
/// @return whether it was
template <class Map> bool ensured(Map& map, typename Map::key_type key) {
    const bool has = map.contains(key);
    ensure(map, key);
    return !has;
}
template <class Map> std::vector<typename Map::key_type> keys(Map const& map) {
    std::vector<typename Map::key_type> keys;
    for (auto const& [key, value] : map)
        keys.push_back(key);
    return keys;
}

/// Thrown by a model where a parameter of an existing syncer differs.
struct Differs {
    std::string_view parameter;
};

/// Thrown where a tree or a syncer is not what its model says.
struct Difference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline void same(std::string_view what, std::string const& is, std::string const& modelled) {
    if (is != modelled)
        throw Difference(std::string(what) + " is\n" + is + "\nbut to be\n" + modelled);
}
inline void holds(bool holds, std::string const& what) {
    if (!holds)
        throw Difference("it does not hold that " + what);
}

/// Runs both sides. Throws Difference unless both refuse, for the same parameter, or neither does.
/// @param act     on the trees; may throw Zel::NameInUseException
/// @param expect  on the model; may throw Differs
/// @return the parameter for which both refused, or nothing
template <class Refusal, class Do, class Expect>
std::string_view both(Do const& act, Expect const& expect) {
    std::string refused;
    std::string_view parameter;
    try {
        act();
    } catch (Refusal const& refusal) {
        refused = refusal.what();
    }
    try {
        expect();
    } catch (Differs const& differs) {
        parameter = differs.parameter;
    }
    const std::string expected =
        parameter.empty() ? std::string()
                          : "Reinstantiating the pointer interface where constructor parameter "
                            "attribute " +
                                std::string(parameter) + " has a different value of ";
    holds(refused.empty() == expected.empty() && refused.starts_with(expected),
          "the refusal \"" + refused + "\" begins with \"" + expected + "\"");
    return parameter;
}

} // namespace Modelled
