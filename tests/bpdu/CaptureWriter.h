#pragma once

#include "framework/zel/Int.h"

#include <fstream>
#include <span>
#include <string>

namespace Frames {

/// Writes Ethernet frames as a capture file of the classic pcap format, in the order of this
/// machine's octets.
class CaptureWriter {
  public:
    explicit CaptureWriter(std::string const& path)
        : file_(path, std::ios::binary | std::ios::trunc) {
        constexpr Zel::U32 microsecondsMagic = 0xa1b2c3d4;
        constexpr Zel::U32 maxFrame = 65535;
        constexpr Zel::U32 ethernet = 1;
        put(microsecondsMagic, Zel::U16{2}, Zel::U16{4}, Zel::U32{0}, Zel::U32{0}, maxFrame,
            ethernet);
    }

    void frame(std::span<Zel::U8 const> octets) {
        const auto length = static_cast<Zel::U32>(octets.size());
        put(Zel::U32{0}, Zel::U32{0}, length, length);
        file_.write(reinterpret_cast<const char*>(octets.data()), length);
    }

    /// Nothing can be written any more.
    /// @return whether all was written
    [[nodiscard]] bool close() {
        file_.close();
        return !file_.fail();
    }

  private:
    template <class... Number> void put(Number... number) {
        (file_.write(reinterpret_cast<const char*>(&number), sizeof(number)), ...);
    }

    std::ofstream file_;
};

} // namespace Frames
