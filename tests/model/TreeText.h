#pragma once

#include "framework/zel/Name.h"
#include "framework/zel/Notifiee.h"
#include "platform/kolvu/IntfId.h"

#include <functional>
#include <string>
#include <vector>

/// The entities of the model as text, from the declarations of their attributes. Texts are equal
/// where the entities are.
namespace TreeText {

using Lines = std::vector<std::string>;

std::string text(Zel::Name const& name);
/// The short name, as "Et1".
std::string text(Kolvu::IntfId intf);
/// As few digits as tell it from every other number.
std::string text(double number);

/// Everything that an entity and all under it hold, sorted: a line for each child, entry and value,
/// as "txMstStatus[mst1]", "mst1/Et1/txUpdate[10]=5" and "mst1/Et1/txNewInfo=7".
/// The one line "null" for null.
Lines contents(Zel::Ptr<Zel::PtrInterface const> const& tree);

/// The entity's own scalars, in the order of declaration, as "txNewInfo=7".
Lines scalars(Zel::Ptr<Zel::PtrInterface const> const& entity);

/// Calls visit(child, key) for each child of the entity itself, in the order of its collections.
void forEachChild(Zel::PtrInterface const& entity,
                  std::function<void(Zel::Ptr<Zel::PtrInterface const> const& child,
                                     std::string const& key)> const& visit);

/// What an entity's notification says.
struct Change {
    /// As "stpVersion", "txUpdate[10]", "txInfo[10]"; with " deleted" where the key is gone.
    std::string what;
    /// The value that a scalar or an entry now has, as "=5".
    std::string value;
    /// The child that is now under the key, and its key; null unless there is one.
    Zel::Ptr<Zel::PtrInterface const> child;
    std::string key;
};
/// @param id, key  what onAttribute() was given
Change change(Zel::PtrInterface const& entity, Zel::AttributeId id, void const* key);

} // namespace TreeText
