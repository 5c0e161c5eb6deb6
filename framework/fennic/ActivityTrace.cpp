#include "framework/fennic/ActivityTrace.h"

#include "framework/fennic/BlockTimer.h"
#include "framework/zel/Entity.h"
#include "framework/zel/TypeNode.h"

#include <exception>

namespace Fennic {
namespace {

TraceFile& file() noexcept { return detail::defaultFile.object; }

MessageId& described(Zel::TypeNode const& type) noexcept {
    if (type.traceId().load(std::memory_order_relaxed) == 0) [[unlikely]] {
        try {
            file().typeIs(type.traceId(), type);
        } catch (std::exception const&) {
            // Out of memory: recorded without a descriptor, and tried again with the next one.
        }
    }
    return type.traceId();
}

class ActivityTrace final : public Zel::ActivityObserver {
  public:
    U64 reactionBegins(Zel::Activity const& activity) noexcept override {
        return begins(BlockKind::reaction, activity);
    }
    U64 writeBegins(Zel::Activity const& activity) noexcept override {
        return begins(BlockKind::write, activity);
    }
    void ends(Zel::TypeNode const& actor, U64 begun) noexcept override {
        file().blockEnds(actor.traceId(), begun);
    }

  private:
    static U64 begins(BlockKind kind, Zel::Activity const& activity) noexcept {
        described(*activity.entity.fwkType());
        return file().blockBegins(described(activity.actor), kind, activity);
    }
};

constinit ActivityTrace activityTrace;

} // namespace

void activityTraceIs(bool on) noexcept { Zel::activityObserverIs(on ? &activityTrace : nullptr); }

} // namespace Fennic
