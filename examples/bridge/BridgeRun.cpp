#include "examples/bridge/BridgeRun.h"

#include "bpdu/LlcHeader.h"
#include "examples/bridge/Process.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <stdexcept>

namespace Examples {
namespace {

constexpr int followsAnother = 0;
constexpr int followsNone = 3;

/// The number that a text is, all of it.
template <class Number> Number parsed(std::string_view text, int base) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end)
        throw std::runtime_error("the bridge's status has \"" + std::string(text) +
                                 "\" where a number should be");
    return number;
}

} // namespace

BridgeStatus::BridgeStatus(std::filesystem::path const& file) {
    std::ifstream lines(file);
    if (!lines)
        throw std::runtime_error(file.string() + ": cannot be opened");
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos)
            throw std::runtime_error(file.string() + ": \"" + line + "\" is not name=value");
        values_.emplace_back(line.substr(0, equals), line.substr(equals + 1));
    }
}

std::string const& BridgeStatus::text(std::string_view name) const {
    const auto found = std::ranges::find(values_, name, &Values::value_type::first);
    if (found == values_.end())
        throw std::runtime_error("the bridge's status has no " + std::string(name));
    return found->second;
}

Stp::BridgeId BridgeStatus::bridgeId(std::string_view name) const {
    std::array<Zel::U8, Stp::BridgeId::wireOctets> octets;
    std::string_view digits = text(name);
    if (digits.size() != 2 * octets.size())
        throw std::runtime_error("the bridge's status has no identifier as its " +
                                 std::string(name));
    for (Zel::U8& octet : octets) {
        octet = parsed<Zel::U8>(digits.substr(0, 2), 16);
        digits.remove_prefix(2);
    }
    return Stp::BridgeId::decode(octets);
}

Stp::PathCost BridgeStatus::pathCost(std::string_view name) const {
    return parsed<Zel::U32>(text(name), 10);
}

BridgeRun runBridge(std::filesystem::path const& script, std::filesystem::path const& folder,
                    std::span<Frame const> frames) {
    std::filesystem::create_directories(folder);
    const std::filesystem::path sent = folder / "sent.pcap";
    const std::filesystem::path answer = folder / "answer.pcap";
    const std::filesystem::path status = folder / "status";
    writeCapture(sent, frames);
    const int exitStatus = runProcess({script, sent, answer, status});
    if (exitStatus != followsAnother && exitStatus != followsNone)
        throw std::runtime_error("the bridge could not be run: " + script.string() +
                                 " ended with exit status " + std::to_string(exitStatus));
    return {exitStatus == followsAnother, readCapture(answer), BridgeStatus(status)};
}

Stp::RstpBpduView rstBpduIn(std::span<Zel::U8 const> frame) {
    namespace LlcHeader = Varnol::LlcHeader;
    constexpr std::size_t headerOctets = LlcHeader::Untagged::octets;
    std::array<Zel::U8, headerOctets> header;
    if (frame.size() >= headerOctets + Stp::RstpBpduView::octets) {
        const auto bpdu = Stp::RstpBpduView::in(frame.subspan(headerOctets));
        const auto source = Kolvu::EthAddr::decode(frame.subspan<6, 6>());
        LlcHeader::write(header.data(), 0, source, Stp::RstpBpduView::octets);
        if (std::ranges::equal(header, frame.first(headerOctets)) &&
            bpdu->protocolIdentifier() == 0 && bpdu->version() == Stp::StpBpduVersion::rstp &&
            bpdu->type() == Stp::StpBpduType::rst)
            return *bpdu;
    }
    throw std::runtime_error("a frame is not an RST BPDU");
}

} // namespace Examples
