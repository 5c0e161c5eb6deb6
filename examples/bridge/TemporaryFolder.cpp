#include "examples/bridge/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace Examples {

TemporaryFolder::TemporaryFolder() {
    const char* system = std::getenv("TMPDIR");
    std::string name = std::filesystem::path(system && *system ? system : "/tmp") / "varnol.XXXXXX";
    if (!mkdtemp(name.data()))
        throw std::system_error(errno, std::generic_category(), "cannot make the folder " + name);
    path_ = std::move(name);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace Examples
