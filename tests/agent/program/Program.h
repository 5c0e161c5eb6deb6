#pragma once

#include "examples/bridge/Process.h"
#include "examples/bridge/TemporaryFolder.h"
#include "tests/agent/Golden.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace Agent::Test {

/// A capture of a real bridge that speaks RSTP.
inline const std::string rstp = SOURCES "/agent/captures/rstp-bridge.pcap";

struct Result {
    int exitStatus;
    std::string output;
    std::string errors;
};

/// Runs a program to its end.
inline Result run(std::vector<std::string> const& command) {
    const Examples::TemporaryFolder folder;
    const auto output = folder.path() / "output";
    const auto errors = folder.path() / "errors";
    const int exitStatus = Examples::runProcess(command, {output, errors});
    return {exitStatus, contents(output), contents(errors)};
}

inline Result agent(std::vector<std::string> const& arguments) {
    std::vector<std::string> command{STP_AGENT};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command);
}

/// Waits until the condition holds, for a minute at most.
/// @return whether it does
inline bool await(std::function<bool()> const& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

/// A program that runs beside the test, and is ended with this object.
class Background {
  public:
    /// @param command  the program's path first
    /// @param output   what it prints, errors too
    Background(std::vector<std::string> command, std::filesystem::path const& output) {
        std::vector<char*> arguments;
        for (std::string& argument : command)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        posix_spawn_file_actions_adddup2(&files, 1, 2);
        const int error =
            posix_spawn(&process_, arguments[0], &files, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (error != 0)
            throw std::system_error(error, std::generic_category(), command[0]);
    }
    Background(Background const&) = delete;
    Background& operator=(Background const&) = delete;
    ~Background() {
        if (process_ > 0)
            end(SIGTERM);
    }

    /// Whether it still runs.
    bool runs() {
        if (process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_)
            process_ = 0;
        return process_ > 0;
    }
    /// Sends a signal to the process, which still runs.
    void signal(int number) { kill(process_, number); }
    /// Sends a signal, and waits for the end.
    /// @return exit status, or 128 + n
    int end(int signal) {
        if (process_ > 0) {
            kill(process_, signal);
            waitpid(process_, &status_, 0);
            process_ = 0;
        }
        return WIFSIGNALED(status_) ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_);
    }

  private:
    pid_t process_ = 0;
    int status_ = 0;
};

} // namespace Agent::Test
