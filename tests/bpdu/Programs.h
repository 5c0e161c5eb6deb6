#pragma once

#include <string>
#include <vector>

/// Programs that share nothing with the library, and read or write frames.
namespace Programs {

/// What a command of the shell printed, and how it ended.
struct Output {
    std::string text;
    int status; ///< as from waitpid(); 0 when it ended well
};
/// Throws std::system_error when there is no shell.
Output outputOf(std::string const& command);

/// One frame as tshark reads it: a text for each field that was asked for, which is empty where the
/// frame has none and has commas between values where it has several.
using Row = std::vector<std::string>;

/// The frames of a capture. Fails the test when tshark is missing or fails.
std::vector<Row> readByTshark(std::string const& capture, std::vector<std::string> const& fields);

} // namespace Programs
