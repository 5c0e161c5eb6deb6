/// A service's own reactor: prints each change of a record's entry, and counts them.

#include "framework/zel/Trace.h"
#include "model/IntxMstiInfo.h"

#include <iostream>

namespace {

/// Watches one entry. The entity does not own it: whoever made it holds it, and letting it go ends
/// the watching.
class ChangePrinter final : public Zel::Object<ChangePrinter, Varnol::IntxMstiInfo::NotifieeConst> {
  public:
    static Zel::TypeNode const _zelType;

    unsigned changes() const noexcept { return changes_; }

    /// Called inside the mutator, after the value is stored. A mutator notifies of each write, also
    /// of one that writes the value that is there.
    void onAttribute(Zel::AttributeId id, void const*) override {
        ++changes_;
        Zel::dispatchAttribute<Varnol::IntxMstiInfo>(id, [&](auto attribute) {
            Zel::TraceStream text;
            text << attribute.name;
            // Octets have no text of their own; see TraceStream.
            if constexpr (requires { text << attribute.read(*watched()); })
                text << " = " << attribute.read(*watched());
            std::cout << text.text() << "\n";
        });
    }

  private:
    unsigned changes_ = 0;
};
constinit Zel::TypeNode const ChangePrinter::_zelType{"ChangePrinter", {}};

} // namespace

int main() {
    const Varnol::IntxMstiInfo::Ptr entry(new Varnol::IntxMstiInfo(0));
    auto printer = Zel::newActive<ChangePrinter>(); // it takes notifications at once
    printer->notifierIs(entry);

    entry->flagsIs(Stp::RstpBpduFlags(0x0e));
    entry->cistExtRootPathCostIs(20000);
    entry->helloTimeIs(Stp::TimerVal::seconds(2));

    printer->hasNotificationActiveIs(false);
    entry->maxAgeIs(Stp::TimerVal::seconds(20)); // not seen
    printer->hasNotificationActiveIs(true);
    entry->flagsIs(Stp::RstpBpduFlags(0x3c));

    std::cout << printer->changes() << " changes\n";
    printer = nullptr;
    entry->flagsIs(Stp::RstpBpduFlags(0)); // nobody watches any more
}
