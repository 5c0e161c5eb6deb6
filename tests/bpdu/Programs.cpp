#include "tests/bpdu/Programs.h"

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <system_error>

#include <gtest/gtest.h>

namespace Programs {

Output outputOf(std::string const& command) {
    FILE* program = ::popen(command.c_str(), "r");
    if (!program)
        throw std::system_error(errno, std::generic_category(), "popen");
    Output output;
    char part[4096];
    while (const std::size_t size = std::fread(part, 1, sizeof(part), program))
        output.text.append(part, size);
    output.status = ::pclose(program);
    return output;
}

std::vector<Row> readByTshark(std::string const& capture, std::vector<std::string> const& fields) {
    std::string command = "tshark -n -r '" + capture + "' -T fields -E 'separator=;'";
    for (std::string const& field : fields)
        command += " -e " + field;
    const Output output = outputOf(command);
    EXPECT_EQ(output.status, 0) << "tshark is missing or failed: " << command;

    std::vector<Row> rows;
    std::istringstream lines(output.text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream texts(line + ';');
        rows.emplace_back();
        for (std::string text; std::getline(texts, text, ';');)
            rows.back().push_back(text);
    }
    return rows;
}

} // namespace Programs
