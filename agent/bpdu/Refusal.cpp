#include "agent/bpdu/Refusal.h"

#include "framework/zel/Fatal.h"

#include <array>

namespace Agent {
namespace {

struct Texts {
    Refusal refusal;
    std::string_view name;
    std::string_view text;
};

/// In the order of the enumerators.
constexpr std::array<Texts, refusals> table{{
    {Refusal::tooShort, "too_short", "the frame is shorter than its addresses and length"},
    {Refusal::destination, "destination", "the destination is not the bridge group address"},
    {Refusal::tagged, "tagged", "the frame has a VLAN tag"},
    {Refusal::notLength, "not_length", "there is an EtherType instead of a length"},
    {Refusal::lengthAboveCaptured, "length_above_captured",
     "the length counts more octets than were captured"},
    {Refusal::lengthBelowLlc, "length_below_llc", "the length does not count a whole LLC header"},
    {Refusal::snap, "snap", "there is a SNAP header"},
    {Refusal::sap, "sap", "the LLC address is not that of the spanning tree protocols"},
    {Refusal::control, "control", "the LLC control is not unnumbered information"},
    {Refusal::headerTruncated, "header_truncated",
     "the BPDU is shorter than its first four octets"},
    {Refusal::protocolIdentifier, "protocol_identifier",
     "the protocol identifier is not that of the spanning tree protocols"},
    {Refusal::type, "type", "the BPDU type is not known"},
    {Refusal::version, "version", "the protocol version has no RST BPDUs"},
    {Refusal::configurationTruncated, "configuration_truncated",
     "the configuration BPDU is shorter than 35 octets"},
    {Refusal::rstTruncated, "rst_truncated", "the RST BPDU is shorter than 36 octets"},
    {Refusal::messageAge, "message_age", "the message age has reached the max age"},
    {Refusal::ownFrame, "own_frame", "the bridge sent the frame itself"},
}};

consteval bool hasEachRefusalInItsPlace() {
    for (std::size_t i = 0; i < refusals; ++i) {
        if (static_cast<std::size_t>(table[i].refusal) != i || table[i].name.empty() ||
            table[i].text.empty())
            return false;
    }
    return true;
}
static_assert(hasEachRefusalInItsPlace());

Texts const& texts(Refusal refusal, const char* function) noexcept {
    const auto index = static_cast<std::size_t>(refusal);
    if (index >= refusals)
        Zel::assertionFailed("refusal < refusals", function);
    return table[index];
}

} // namespace

std::string_view name(Refusal refusal) noexcept {
    return texts(refusal, "std::string_view Agent::name(Refusal)").name;
}

std::string_view text(Refusal refusal) noexcept {
    return texts(refusal, "std::string_view Agent::text(Refusal)").text;
}

} // namespace Agent
