#include "framework/fennic/BlockTimer.h"

#include "framework/fennic/FunctionName.h"
#include "framework/fennic/MsgDesc.h"

#include <exception>

namespace Fennic {

constinit detail::Immortal<TraceFile> detail::defaultFile;

TraceFile& defaultTraceFile() noexcept { return detail::defaultFile.object; }

U64 BlockTimerSelf::enter(TraceFile& file, BlockPlace& place) noexcept {
    if (place.messageId.load(std::memory_order_relaxed) == 0) {
        try {
            MsgDesc message(file, &place.messageId, place.sourceFileName, place.line);
            message << functionName(place.signature) << "():" << place.line;
            message.finish();
        } catch (std::exception const&) {
            // Out of memory: the block is recorded as one without a descriptor, and the next one
            // tries again.
        }
    }
    return file.blockBegins(place.messageId);
}

} // namespace Fennic
