// What any frame meets on its way to a record. Ends the process where something does not hold;
// driven by libFuzzer, or by PlainDriver.cpp.

#include "agent/bpdu/Parse.h"
#include "agent/bpdu/Record.h"
#include "tests/agent/bpdu/Frames.h"
#include "tests/agent/bpdu/Rule.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string_view>

namespace {

void hold(bool holds, std::string_view what) {
    if (holds)
        return;
    std::fprintf(stderr, "ParseFuzz: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
}

std::set<unsigned> instancesOf(Varnol::IntxInfo const& record) {
    std::set<unsigned> instances;
    for (auto const& entry : record.mstiN())
        instances.insert(entry->mstiId().value());
    return instances;
}

void checkRecord(Agent::ReceivedBpdu const& bpdu) {
    std::set<unsigned> named;
    if (bpdu.kind != Agent::BpduKind::topologyChangeNotification)
        named.insert(0);
    for (Agent::MstiRecord const& msti : bpdu.mstis()) {
        if (msti.instance() != 0)
            named.insert(msti.instance().value());
    }
    const Varnol::IntxInfo::Ptr record(new Varnol::IntxInfo(0));
    Agent::recordBpdu(record, bpdu);
    hold(instancesOf(*record) == named, "the record has other instances than the BPDU");
    hold(record->configNameString() == Zel::String(bpdu.configurationId.nameText()),
         "the record has another configuration name than the BPDU");

    const auto rst = Agent::parseFrame(Frames::frame(Frames::rst));
    Agent::recordBpdu(record, std::get<Agent::ReceivedBpdu>(rst));
    hold(instancesOf(*record) == std::set<unsigned>{0}, "an RST BPDU leaves regional instances");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(Zel::U8 const* octets, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(Zel::U8 const* octets, std::size_t size) {
    const std::span<Zel::U8 const> frame(octets, size);
    const std::string_view contradiction = Rule::contradiction(frame);
    hold(contradiction.empty(), contradiction);
    const auto parsed = Agent::parseFrame(frame);
    if (auto const* bpdu = std::get_if<Agent::ReceivedBpdu>(&parsed)) {
        hold(!name(bpdu->kind).empty(), "a kind of BPDU has no name");
        checkRecord(*bpdu);
    } else {
        const Agent::Refusal refusal = std::get<Agent::Refusal>(parsed);
        hold(!name(refusal).empty() && !text(refusal).empty(), "a refusal has no name or text");
    }
    return 0;
}
