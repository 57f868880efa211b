// SPDX-License-Identifier: MIT

#include "host/posix/SpawnPlan.h"

#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string_view>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace kvn::host {
namespace {

/// ps(1) cuts its lines to $COLUMNS even when it writes into a pipe.
char longLines[] = "COLUMNS=1000000";

std::vector<char*> environment(bool withLongLines) {
    std::vector<char*> variables;
    for (char** variable = environ; variable && *variable; ++variable) {
        if (!withLongLines || !std::string_view(*variable).starts_with("COLUMNS=")) {
            variables.push_back(*variable);
        }
    }
    if (withLongLines) {
        variables.push_back(longLines);
    }
    variables.push_back(nullptr);
    return variables;
}

} // namespace

std::optional<Pipe> makePipe() {
    Pipe pipe;
    std::tie(pipe.readEnd, pipe.writeEnd) = Kvs::closeOnExecPipe(true);
    for (Kvs::FileDescriptor* const end : {&pipe.readEnd, &pipe.writeEnd}) {
        if (*end && end->get() <= STDERR_FILENO) { // the child connects these numbers to something else
            *end = Kvs::FileDescriptor(::fcntl(end->get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        }
    }
    return pipe.readEnd && pipe.writeEnd ? std::optional(std::move(pipe)) : std::nullopt;
}

SpawnPlan::SpawnPlan(Session session) {
    note(posix_spawn_file_actions_init(&actions_));
    note(posix_spawnattr_init(&attributes_));
    note(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));

    sigset_t all;
    sigfillset(&all);
    sigdelset(&all, SIGKILL);
    sigdelset(&all, SIGSTOP);
    note(posix_spawnattr_setsigdefault(&attributes_, &all));
    int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    sigset_t blocked;
    sigemptyset(&blocked);
    // A stop signal of the terminal must not stop the child before it executes the program. The calling
    // thread would stay in posix_spawn, in a wait that a stop does not end, so that this process would never
    // finish its own stop and the shell would never get the terminal. In a session of its own the child is
    // alone in an orphaned process group, where the system discards these signals, even one that came before.
    if (session == Session::Shared) {
        for (const int signal : {SIGTSTP, SIGTTIN, SIGTTOU}) {
            sigaddset(&blocked, signal);
        }
    } else {
        flags |= POSIX_SPAWN_SETSID;
    }
    note(posix_spawnattr_setsigmask(&attributes_, &blocked));
    if (session == Session::Detached) {
        note(posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
        note(posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO));
        note(posix_spawn_file_actions_addchdir_np(&actions_, "/"));
    }
    note(posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)));
}

SpawnPlan::~SpawnPlan() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
}

void SpawnPlan::connect(int descriptor, int standardDescriptor) {
    note(posix_spawn_file_actions_adddup2(&actions_, descriptor, standardDescriptor));
    outputConnected_ = outputConnected_ || standardDescriptor == STDOUT_FILENO;
}

int SpawnPlan::start(const std::string& path, const std::vector<std::string>& arguments, pid_t& pid) {
    // Added after the connected descriptors, which it must not close.
    note(Kvs::spawnWithStandardDescriptorsOnly(actions_, attributes_));
    if (error_ != 0) {
        return error_;
    }
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 2);
    argv.push_back(const_cast<char*>(path.c_str())); // posix_spawn does not change it
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    return posix_spawn(&pid, path.c_str(), &actions_, &attributes_, argv.data(),
                       environment(outputConnected_).data());
}

std::variant<int, Error> reapChild(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return posixError(errno, "The exit status");
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace kvn::host
