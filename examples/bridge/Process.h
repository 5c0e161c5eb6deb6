#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Examples {

/// Where a program's output goes; a path that is empty leaves it where this program's goes.
struct ProcessOutput {
    std::filesystem::path standardOutput;
    std::filesystem::path standardError;
};

/// Runs a program and waits for its end. It gets this program's environment and working folder, an
/// empty standard input, and takes signals also when this program blocks them or ignores SIGPIPE.
/// @param command  the program's path, then its arguments
/// @return its exit status, or 128 + n when signal n ended it
/// Throws std::system_error when it cannot be started.
int runProcess(std::vector<std::string> const& command, ProcessOutput const& output = {});

} // namespace Examples
