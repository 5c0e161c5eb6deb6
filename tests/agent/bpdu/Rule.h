#pragma once

#include "agent/bpdu/ReceivedBpdu.h"
#include "agent/bpdu/Refusal.h"

#include <span>
#include <variant>
#include <vector>

/// What frames are to be taken and as what, said a second time: from the standards' text by
/// counting octets, with nothing of the code under test but its names.
namespace Rule {

/// What a BPDU is taken as, with its number of MSTI records, which is 0 but in an MST BPDU.
struct Taken {
    Agent::BpduKind kind;
    std::size_t mstis;

    friend bool operator==(Taken const&, Taken const&) = default;
};

std::variant<Taken, Agent::Refusal> verdict(std::span<Zel::U8 const> frame);

/// The octets of the BPDU that says this, as a sender writes it.
std::vector<Zel::U8> written(Agent::ReceivedBpdu const& bpdu);

/// Whether parsing the frame gives what verdict() says, and the parsed BPDU, written anew, is the
/// frame's: all of it but reserved bits and what its kind does not have, which is zero. Where not,
/// says why.
/// @return empty if so
std::string_view contradiction(std::span<Zel::U8 const> frame);

} // namespace Rule
