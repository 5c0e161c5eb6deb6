#pragma once

#include "tools/trace/Trace.h"

#include <string>
#include <string_view>

namespace TraceTool {

/// "handler", "reaction" or "write".
std::string_view name(BlockKind kind);

/// What the identifiers of a trace's blocks stand for. All texts are of one line, printable.
class Names {
  public:
    /// The trace has to outlive this object.
    explicit Names(Trace const& trace);

    /// Of a handler its qualified name, of a reaction and a write the reactor's or syncer's class.
    std::string actor(BlockRecord const& block) const;
    /// The class of the entity; empty when there is none or its descriptor found no room.
    std::string entityClass(BlockRecord const& block) const;
    /// The key under which the entity stands in its parent; empty for none.
    std::string entityKey(BlockRecord const& block) const;
    /// As "Varnol::TxMstPortStatus[Et1] 0x7f12"; empty for none.
    std::string entity(BlockRecord const& block) const;
    /// The attribute's name, or its number when its class does not say; empty for none.
    std::string attribute(BlockRecord const& block) const;
    /// The key of the attribute's element; empty for none.
    std::string key(BlockRecord const& block) const;
    /// As "txInfo[100] of Varnol::TxMstPortStatus[Et1] 0x7f12"; empty for nothing.
    std::string about(BlockRecord const& block) const;
    /// As "Varnol::TxToTx::handleTxInfo():77 for txInfo[100] of ...".
    std::string blockText(BlockRecord const& block) const;

  private:
    Description const* find(U32 id) const;
    Attribute const* attributeOf(BlockRecord const& block) const;

    Trace const& trace_;
    /// By the name of a class, the type of the keys that its entities have in their parents.
    std::map<std::string, std::string> keyTypes_;
};

} // namespace TraceTool
