#pragma once

#include <atomic>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace Zel {

/// Writes lines to a file that is opened for appending, each with one write(2), unless the system
/// takes a line in parts. A line that is cut off is ended before the next one.
class LineWriter {
  public:
    using Write = ssize_t(int descriptor, void const* octets, std::size_t count);

    constexpr explicit LineWriter(Write* write = &::write) noexcept
        : write_(write) {}

    /// Throws std::bad_alloc, and std::system_error when the line could not be written whole.
    /// @param line  without its end; is used up
    void operator()(int descriptor, std::string line) {
        line += '\n';
        if (torn_.load(std::memory_order_relaxed))
            line.insert(0, 1, '\n');
        std::string_view rest = line;
        int error = 0;
        while (!rest.empty() && error == 0) {
            const ssize_t written = write_(descriptor, rest.data(), rest.size());
            if (written > 0) {
                torn_.store(rest[static_cast<std::size_t>(written) - 1] != '\n',
                            std::memory_order_relaxed);
                rest.remove_prefix(static_cast<std::size_t>(written));
            } else if (written == 0) {
                error = EIO;
            } else if (errno != EINTR) {
                error = errno;
            }
        }
        if (error != 0)
            throw std::system_error(error, std::generic_category(), "trace");
    }

    /// Ends a line that is cut off, if the system lets it.
    void endLine(int descriptor) noexcept {
        if (torn_.load(std::memory_order_relaxed) && write_(descriptor, "\n", 1) == 1)
            torn_.store(false, std::memory_order_relaxed);
    }
    /// From now on the file is another one.
    void fileIsNew() noexcept { torn_.store(false, std::memory_order_relaxed); }

  private:
    Write* write_;
    std::atomic<bool> torn_{false}; // the file ends amid a line
};

} // namespace Zel
