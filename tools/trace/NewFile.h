#pragma once

/// Files and folders that appear under their names when they are complete, or not at all.

#include <filesystem>
#include <functional>
#include <iosfwd>

namespace TraceTool {

/// Writes a file under another name beside it, and then gives it its own; replaces an earlier one,
/// or the one that a symbolic link of that name leads to, but nothing that is no regular file.
/// Throws std::system_error, and what `write` throws, when there is no new file.
void writeFile(std::filesystem::path const& path, std::function<void(std::ostream&)> const& write);

/// Makes a folder under another name beside it, has it filled, and then gives it its own. Throws
/// std::system_error, and what `fill` throws, when there is no new folder, as when there is one of
/// the name that is not empty.
void makeFolder(std::filesystem::path const& path,
                std::function<void(std::filesystem::path const&)> const& fill);

} // namespace TraceTool
