#include "examples/bridge/Process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace Examples {
namespace {

void check(int error, std::string const& what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

struct FileActions {
    posix_spawn_file_actions_t value;

    FileActions() { check(posix_spawn_file_actions_init(&value), "posix_spawn"); }
    ~FileActions() { posix_spawn_file_actions_destroy(&value); }
    FileActions(FileActions const&) = delete;
    FileActions& operator=(FileActions const&) = delete;

    void open(int descriptor, const char* path, int flags) {
        check(posix_spawn_file_actions_addopen(&value, descriptor, path, flags, 0666), path);
    }
};

struct Attributes {
    posix_spawnattr_t value;

    Attributes() { check(posix_spawnattr_init(&value), "posix_spawn"); }
    ~Attributes() { posix_spawnattr_destroy(&value); }
    Attributes(Attributes const&) = delete;
    Attributes& operator=(Attributes const&) = delete;

    void usualSignals() {
        sigset_t none;
        sigemptyset(&none);
        check(posix_spawnattr_setsigmask(&value, &none), "posix_spawn");
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        check(posix_spawnattr_setsigdefault(&value, &pipe), "posix_spawn");
        check(posix_spawnattr_setflags(&value, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF),
              "posix_spawn");
    }
};

} // namespace

int runProcess(std::vector<std::string> const& command, ProcessOutput const& output) {
    FileActions files;
    files.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    constexpr int replace = O_WRONLY | O_CREAT | O_TRUNC;
    if (!output.standardOutput.empty())
        files.open(STDOUT_FILENO, output.standardOutput.c_str(), replace);
    if (!output.standardError.empty())
        files.open(STDERR_FILENO, output.standardError.c_str(), replace);
    Attributes attributes;
    attributes.usualSignals();

    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string const& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str())); // posix_spawn() leaves it alone
    arguments.push_back(nullptr);

    pid_t child;
    check(posix_spawn(&child, command.at(0).c_str(), &files.value, &attributes.value,
                      arguments.data(), environ),
          "cannot run " + command[0]);
    int status;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            check(errno, "cannot wait for " + command[0]);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace Examples
