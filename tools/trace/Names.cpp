#include "tools/trace/Names.h"

#include "platform/kolvu/IntfId.h"
#include "tools/trace/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace TraceTool {
namespace {

constexpr std::string_view interfaceType = "Kolvu::IntfId";

/// The short name of an interface whose IntfId::hash() a key holds; empty where no interface has
/// it.
std::string interfaceName(U64 value) {
    using Kolvu::IntfId;
    const auto module = static_cast<U8>(value >> 16 & 0xff);
    const auto port = static_cast<U16>(value & 0xffff);
    for (const IntfId id : {IntfId::ethernet(module, port), IntfId::portChannel(port)})
        if (id.hash() == value)
            return id.shortName().c_str();
    return {};
}

std::string keyText(KeyImage const& key, std::string_view type) {
    if (key.kind == KeyImage::number) {
        U64 value = 0;
        static_assert(offsetof(KeyImage, octets) + 6 == 8);
        std::memcpy(&value, key.octets + 6, sizeof value);
        const std::string name = type == interfaceType ? interfaceName(value) : "";
        return name.empty() ? std::to_string(value) : name;
    }
    if (key.kind != KeyImage::text)
        return {};
    const bool whole = key.size <= sizeof key.octets;
    const std::string_view text(key.octets, std::min<std::size_t>(key.size, sizeof key.octets));
    if (whole)
        return escaped(text);
    return escaped(text) + "... (" + std::to_string(key.size) +
           (key.size == 255 ? " octets or more)" : " octets)");
}

std::string bracketed(std::string const& key) { return key.empty() ? key : "[" + key + "]"; }

} // namespace

std::string_view name(BlockKind kind) {
    switch (kind) {
    case BlockKind::handler:
        return "handler";
    case BlockKind::reaction:
        return "reaction";
    case BlockKind::write:
        return "write";
    }
    return "block";
}

Names::Names(Trace const& trace)
    : trace_(trace) {
    for (auto const& [id, parent] : trace.descriptions)
        for (auto const& [number, attribute] : parent.attributes)
            if (!attribute.keyType.empty())
                keyTypes_.try_emplace(attribute.valueType, attribute.keyType);
    // The class of the parent may not be in the trace. An entity that stands under an interface has
    // that as an attribute too.
    for (auto const& [id, entity] : trace.descriptions)
        for (auto const& [number, attribute] : entity.attributes)
            if (attribute.keyType.empty() && attribute.valueType == interfaceType)
                keyTypes_.try_emplace(entity.text, attribute.valueType);
}

Description const* Names::find(U32 id) const {
    const auto found = trace_.descriptions.find(id);
    return found == trace_.descriptions.end() ? nullptr : &found->second;
}

Attribute const* Names::attributeOf(BlockRecord const& block) const {
    Description const* const type = block.typeId != 0 ? find(block.typeId) : nullptr;
    if (!type)
        return nullptr;
    const auto found = type->attributes.find(block.attribute);
    return found == type->attributes.end() ? nullptr : &found->second;
}

std::string Names::actor(BlockRecord const& block) const {
    Description const* const found = find(block.messageId);
    return found ? escaped(found->text) : "(no descriptor)";
}

std::string Names::entityClass(BlockRecord const& block) const {
    Description const* const found = block.typeId != 0 ? find(block.typeId) : nullptr;
    return found ? escaped(found->text) : "";
}

std::string Names::entityKey(BlockRecord const& block) const {
    Description const* const type = block.typeId != 0 ? find(block.typeId) : nullptr;
    const auto found = type ? keyTypes_.find(type->text) : keyTypes_.end();
    return keyText(block.entityKey, found == keyTypes_.end() ? "" : found->second);
}

std::string Names::entity(BlockRecord const& block) const {
    std::string text = entityClass(block) + bracketed(entityKey(block));
    if (block.entity != 0) {
        std::array<char, 24> address;
        std::snprintf(address.data(), address.size(), "%s0x%llx", text.empty() ? "" : " ",
                      static_cast<unsigned long long>(block.entity));
        text += address.data();
    }
    return text;
}

std::string Names::attribute(BlockRecord const& block) const {
    if (block.attribute == 0)
        return {};
    Attribute const* const found = attributeOf(block);
    return found ? escaped(found->name, 256) : "attribute " + std::to_string(block.attribute);
}

std::string Names::key(BlockRecord const& block) const {
    Attribute const* const found = attributeOf(block);
    return keyText(block.key, found ? found->keyType : "");
}

std::string Names::about(BlockRecord const& block) const {
    const std::string what = attribute(block) + bracketed(key(block));
    const std::string whose = entity(block);
    return what + (what.empty() || whose.empty() ? "" : " of ") + whose;
}

std::string Names::blockText(BlockRecord const& block) const {
    const std::string what = about(block);
    return actor(block) + (what.empty() ? "" : " for " + what);
}

} // namespace TraceTool
