#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace Agent {

/// A file as memory that is shared with whoever else maps it: what is written there is in the file,
/// also when the process is killed. The file stays when this object ends.
class MappedFile {
  public:
    /// Makes a new file of that many octets, all zero, with mode 0600, less the process's umask. A
    /// file that is there is kept as the path with ".old", in place of an older one.
    /// Throws std::system_error, whose text has the path, when something that is no file stands
    /// there, or when the file cannot be made and given all its room; then nothing is changed.
    MappedFile(std::string const& path, std::size_t size);
    MappedFile(MappedFile const&) = delete;
    MappedFile& operator=(MappedFile const&) = delete;
    ~MappedFile();

    std::span<std::byte> memory() const noexcept { return memory_; }

  private:
    std::span<std::byte> memory_;
};

} // namespace Agent
