#include "tools/trace/NewFile.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace TraceTool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(int error, fs::path const& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

/// A name beside the path that only this process makes; without a slash at its end.
fs::path temporaryName(fs::path path) {
    if (!path.has_filename())
        path = path.parent_path();
    path += "." + std::to_string(::getpid()) + ".new";
    return path;
}

} // namespace

void writeFile(fs::path const& wanted, std::function<void(std::ostream&)> const& write) {
    std::error_code none;
    const fs::path path = fs::is_symlink(wanted, none) ? fs::canonical(wanted) : wanted;
    if (fs::exists(path, none) && !fs::is_regular_file(path, none))
        throw std::system_error(EINVAL, std::generic_category(),
                                wanted.string() + ": not a regular file");
    const fs::path temporary = temporaryName(path);
    const int made = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (made < 0)
        fail(errno, temporary);
    ::close(made);
    try {
        std::ofstream file(temporary, std::ios::binary);
        errno = 0;
        write(file);
        file.close();
        if (!file)
            fail(errno != 0 ? errno : EIO, temporary);
        if (::rename(temporary.c_str(), path.c_str()) != 0)
            fail(errno, path);
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
}

void makeFolder(fs::path const& path, std::function<void(fs::path const&)> const& fill) {
    std::error_code none;
    if (fs::exists(path, none) && !fs::is_empty(path, none))
        fail(ENOTEMPTY, path);
    const fs::path temporary = temporaryName(path);
    if (!fs::create_directory(temporary))
        fail(EEXIST, temporary);
    try {
        fill(temporary);
        if (::rename(temporary.c_str(), path.c_str()) != 0)
            fail(errno, path);
    } catch (...) {
        fs::remove_all(temporary, none);
        throw;
    }
}

} // namespace TraceTool
