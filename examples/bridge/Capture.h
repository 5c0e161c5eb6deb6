#pragma once

#include "framework/zel/Int.h"

#include <filesystem>
#include <span>
#include <vector>

/// Captures of Ethernet frames: files in the classic pcap format, as tcpdump and Wireshark use
/// them.
namespace Examples {

/// From the destination address to the last octet of data, without check sequence.
using Frame = std::vector<Zel::U8>;

/// Replaces the file. Frames bear no time, so that equal frames make equal files.
/// Throws std::runtime_error, with libpcap's reason, when the file cannot be written.
void writeCapture(std::filesystem::path const& file, std::span<Frame const> frames);

/// The frames in the order of the file, as far as they were captured.
/// Throws std::runtime_error, with libpcap's reason, when the file cannot be read, is cut short or
/// is no capture of Ethernet frames.
std::vector<Frame> readCapture(std::filesystem::path const& file);

} // namespace Examples
