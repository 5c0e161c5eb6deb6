#include "agent/io/MappedFile.h"

#include "agent/io/Descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace Agent {
namespace {

/// Gives the file all its room now: a medium that is full later would end the process at a write
/// into the memory. 0, or an error.
int allocate(int descriptor, std::size_t size) {
    int error;
    do
        error = posix_fallocate(descriptor, 0, static_cast<off_t>(size));
    while (error == EINTR);
    return error;
}

/// Whether a file, and nothing else, stands at the path. 0, or an error.
int look(std::string const& path, bool& isThere) {
    struct stat status {};
    isThere = lstat(path.c_str(), &status) == 0;
    if (!isThere)
        return errno == ENOENT ? 0 : errno;
    return S_ISREG(status.st_mode) ? 0 : EEXIST;
}

} // namespace

MappedFile::MappedFile(std::string const& path, std::size_t size) {
    const auto check = [&path](int error, const char* what) {
        if (error != 0)
            throw std::system_error(error, std::generic_category(), path + ": " + what);
    };
    bool isThere = false;
    check(look(path, isThere), "cannot be replaced");

    // Under a name of its own until it is whole; another process may have the former file mapped.
    std::string made = path + ".XXXXXX";
    const Descriptor file(mkostemp(made.data(), O_CLOEXEC));
    check(file ? 0 : errno, "cannot be made");
    int error = allocate(file.number(), size);
    void* memory = MAP_FAILED;
    if (error == 0) {
        memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
        error = memory == MAP_FAILED ? errno : 0;
    }
    const std::string old = path + ".old";
    if (error == 0 && isThere && rename(path.c_str(), old.c_str()) != 0)
        error = errno;
    if (error == 0 && rename(made.c_str(), path.c_str()) != 0) {
        error = errno;
        if (isThere)
            rename(old.c_str(), path.c_str());
    }
    if (error != 0) {
        if (memory != MAP_FAILED)
            munmap(memory, size);
        unlink(made.c_str());
        check(error, "cannot be made");
    }
    memory_ = {static_cast<std::byte*>(memory), size};
}

MappedFile::~MappedFile() { munmap(memory_.data(), memory_.size()); }

} // namespace Agent
