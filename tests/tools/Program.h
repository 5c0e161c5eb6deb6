#pragma once

#include "examples/bridge/Process.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/tools/TraceMaker.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace TraceTool::Test {

inline std::string contents(std::filesystem::path const& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

inline void write(std::filesystem::path const& file, std::string const& octets) {
    std::ofstream(file, std::ios::binary) << octets;
}

/// Compares a text with a file of tests/tools/golden/; leaves a text that differs where the failure
/// says.
inline void expectGolden(std::string const& text, std::string const& name) {
    if (text == contents(SOURCES "/tests/tools/golden/" + name))
        return;
    const std::string path = testing::TempDir() + "tools-" + name;
    write(path, text);
    ADD_FAILURE() << "differs from tests/tools/golden/" << name << ": " << path;
}

struct Result {
    int exitStatus;
    std::string output;
    std::string errors;
};

/// Runs varnol-trace to its end.
inline Result varnolTrace(std::vector<std::string> const& arguments) {
    std::vector<std::string> command{VARNOL_TRACE};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Examples::TemporaryFolder folder;
    const auto output = folder.path() / "output";
    const auto errors = folder.path() / "errors";
    const int exitStatus = Examples::runProcess(command, {output, errors});
    return {exitStatus, contents(output), contents(errors)};
}

/// A trace in a file, in a folder of its own.
class TraceInFile {
  public:
    explicit TraceInFile(std::string const& octets) { write(path(), octets); }
    std::string path() const { return folder_.path() / "trace"; }
    std::filesystem::path const& folder() const { return folder_.path(); }

  private:
    Examples::TemporaryFolder folder_;
};

} // namespace TraceTool::Test
