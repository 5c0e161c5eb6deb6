#include "tools/trace/Octets.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TraceTool {
namespace {

[[noreturn]] void fail(std::string const& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

constexpr U64 highestOffset = std::numeric_limits<off_t>::max();

} // namespace

FileOctets::FileOctets(std::string const& path)
    : path_(path)
    , descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (descriptor_ < 0)
        fail(path_);
    struct stat status;
    if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor_);
        throw std::system_error(EINVAL, std::generic_category(), path_ + ": not a regular file");
    }
}

FileOctets::~FileOctets() { ::close(descriptor_); }

U64 FileOctets::size() const {
    struct stat status;
    if (::fstat(descriptor_, &status) != 0)
        fail(path_);
    return static_cast<U64>(status.st_size);
}

std::size_t FileOctets::read(U64 offset, std::span<std::byte> into) const {
    std::size_t done = 0;
    while (done < into.size() && offset <= highestOffset - done) {
        const auto count = ::pread(descriptor_, into.data() + done, into.size() - done,
                                   static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            fail(path_);
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

std::size_t MemoryOctets::read(U64 offset, std::span<std::byte> into) const {
    if (offset >= memory_.size())
        return 0;
    const auto from = memory_.subspan(static_cast<std::size_t>(offset));
    const std::size_t count = std::min(from.size(), into.size());
    std::ranges::copy(from.first(count), into.begin());
    return count;
}

U64 LaterOctets::size() const {
    const U64 size = whole_.size();
    return size > offset_ ? size - offset_ : 0;
}

std::size_t LaterOctets::read(U64 offset, std::span<std::byte> into) const {
    if (offset > std::numeric_limits<U64>::max() - offset_)
        return 0;
    return whole_.read(offset_ + offset, into);
}

} // namespace TraceTool
