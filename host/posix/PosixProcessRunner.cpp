#include "host/posix/PosixProcessRunner.h"

#include "core/system/PosixDifferences.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace kvn::host {
namespace {

/// What the child starts with, in place of what it would inherit.
class SpawnPlan {
public:
    SpawnPlan() {
        note(posix_spawn_file_actions_init(&actions_));
        note(posix_spawnattr_init(&attributes_));
        note(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));

        sigset_t none;
        sigemptyset(&none);
        note(posix_spawnattr_setsigmask(&attributes_, &none));
        sigset_t all;
        sigfillset(&all);
        sigdelset(&all, SIGKILL);
        sigdelset(&all, SIGSTOP);
        note(posix_spawnattr_setsigdefault(&attributes_, &all));
        note(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
        note(Kvs::spawnWithStandardDescriptorsOnly(actions_, attributes_));
    }
    ~SpawnPlan() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    /// 0, or why not.
    int run(const std::string& path, const std::vector<std::string>& arguments, pid_t& pid) const {
        if (error_ != 0) {
            return error_;
        }
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 2);
        argv.push_back(const_cast<char*>(path.c_str())); // the interface is older than const
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        return posix_spawn(&pid, path.c_str(), &actions_, &attributes_, argv.data(), environ);
    }

private:
    void note(int result) { error_ = error_ != 0 ? error_ : result; }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
    int error_ = 0;
};

} // namespace

PosixProcessRunner::PosixProcessRunner(MainLoop& mainLoop)
    : childSignal_(mainLoop.onSignal(SIGCHLD, [this] { reap(); })) {}

std::variant<pid_t, Error> PosixProcessRunner::launch(const std::string& path,
                                                      const std::vector<std::string>& arguments) {
    pid_t pid = 0;
    if (const int error = SpawnPlan().run(path, arguments, pid); error != 0) {
        return Error{"posix", error, std::generic_category().message(error)};
    }
    children_.insert(pid);
    return pid;
}

void PosixProcessRunner::reap() {
    // One signal may stand for several ends.
    std::erase_if(children_, [](pid_t child) {
        const pid_t result = waitpid(child, nullptr, WNOHANG);
        return result == child || (result < 0 && errno == ECHILD);
    });
}

} // namespace kvn::host
