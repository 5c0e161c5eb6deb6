#include "platform/stp/RstpBpdu.h"

#include "framework/zel/Trace.h"

namespace Stp {

Zel::TraceStream& operator<<(Zel::TraceStream& stream, RstpBpduView bpdu) {
    const auto print = [&](auto const& field) {
        stream << (field.offset == 0 ? "" : ", ") << field.name << " " << field.decode(bpdu.bpdu_);
    };
    std::apply([&](auto const&... field) { (print(field), ...); }, RstpLayout::fields);
    return stream;
}

} // namespace Stp
