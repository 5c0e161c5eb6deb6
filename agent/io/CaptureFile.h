#pragma once

#include "agent/trees/Time.h"
#include "framework/zel/Int.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace Agent {

/// Reads a capture of Ethernet frames, pcap or pcapng, frame by frame.
class CaptureReader {
  public:
    struct Frame {
        Time at;                     ///< since 1970
        std::vector<Zel::U8> octets; ///< as far as captured
    };

    /// Throws std::runtime_error, with libpcap's reason, when the file cannot be read or holds
    /// other frames than Ethernet's.
    explicit CaptureReader(std::filesystem::path const& file);
    ~CaptureReader();

    /// None at the end. Throws std::runtime_error when the file is cut short or broken, or a time
    /// in it is further than 10^11 s from 1970.
    std::optional<Frame> next();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Writes a capture, classic pcap with microseconds. What was written is in the file after every
/// frame.
class CaptureWriter {
  public:
    /// Replaces the file. Throws std::runtime_error when it cannot be written.
    /// @param begin  what the times given to write() count from, since 1970
    CaptureWriter(std::filesystem::path const& file, Time begin);
    ~CaptureWriter();

    /// Throws std::runtime_error when the frame cannot be written; later ones are not tried.
    void write(Time at, std::span<Zel::U8 const> frame);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Agent
