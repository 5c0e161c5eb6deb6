#pragma once

#include <ostream>
#include <string>

namespace Agent {

/// Sends a request to the agent that runs at the path, and writes what it answers, each piece at
/// once. Throws std::runtime_error when there is no agent, when it answers with an error, whose
/// text is then the exception's, or when the output cannot be written.
void request(std::string const& path, std::string const& request, std::ostream& out);

} // namespace Agent
