#pragma once

#include <filesystem>

namespace Examples {

/// A private folder below $TMPDIR, or else /tmp; removed with all its contents.
class TemporaryFolder {
  public:
    /// Throws std::system_error when it cannot be made.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::filesystem::path const& path() const noexcept { return path_; }

  private:
    std::filesystem::path path_;
};

} // namespace Examples
