#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace Agent::Test {

inline std::string contents(std::filesystem::path const& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

/// Compares a text with a file of tests/agent/golden/; leaves a text that differs where the failure
/// says.
inline void expectGolden(std::string const& text, std::string const& name) {
    if (text == contents(SOURCES "/tests/agent/golden/" + name))
        return;
    const std::string path = testing::TempDir() + "agent-" + name;
    std::ofstream(path, std::ios::binary) << text;
    ADD_FAILURE() << "differs from tests/agent/golden/" << name << ": " << path;
}

} // namespace Agent::Test
