#pragma once

#include "examples/bridge/Capture.h"
#include "platform/stp/RstpBpdu.h"

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Examples {

/// What the bridge believed in the end: names and values, as the script rstp-bridge explains them.
class BridgeStatus {
  public:
    using Values = std::vector<std::pair<std::string, std::string>>;

    /// Reads a file that rstp-bridge wrote. Throws std::runtime_error when it cannot be read or a
    /// line of it is not name=value.
    explicit BridgeStatus(std::filesystem::path const& file);

    /// In the order of the file.
    Values const& values() const noexcept { return values_; }

    // Each throws std::runtime_error when the file does not have it in the right form.
    std::string const& text(std::string_view name) const;
    Stp::BridgeId bridgeId(std::string_view name) const;
    Stp::PathCost pathCost(std::string_view name) const;

  private:
    Values values_;
};

/// A real RSTP bridge, Open vSwitch, that was shown BPDUs.
struct BridgeRun {
    /// Whether it follows another root than itself.
    bool follows;
    /// The frames that it sent from its only port, at first its claim to be the root itself.
    std::vector<Frame> answers;
    BridgeStatus status;
};

/// Starts a bridge, hands it the frames one after the other, and ends it; takes less than 1 s.
/// Leaves the captures "sent.pcap" and "answer.pcap" and the file "status" in the folder.
/// @param script  path of rstp-bridge
/// @param folder  made when it is not there
/// Throws std::runtime_error (std::system_error, std::filesystem::filesystem_error) when a file
/// cannot be written or read, or the bridge cannot be run; the script has then told the reason on
/// standard error.
BridgeRun runBridge(std::filesystem::path const& script, std::filesystem::path const& folder,
                    std::span<Frame const> frames);

/// The RST BPDU that a frame carries (IEEE 802.1D-2004 9.3.3), untagged and behind an LLC header.
/// Throws std::runtime_error for any other frame.
/// @param frame  must outlive the result
Stp::RstpBpduView rstBpduIn(std::span<Zel::U8 const> frame);

} // namespace Examples
