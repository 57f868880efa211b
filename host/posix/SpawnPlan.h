#pragma once

#include "host/Error.h"

#include <spawn.h>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace kvn::host {

/// What a child process starts with, in place of what it would inherit: an empty standard input, this
/// process's standard output and error and no other descriptor, default signal handling. One start.
class SpawnPlan {
public:
    /// The process group that the child runs in: this process's, one of its own, or one of its own in a
    /// session of its own.
    enum class Group { Inherited, Own, OwnSession };

    explicit SpawnPlan(Group group);
    ~SpawnPlan();
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    /// Gives the child this open descriptor, which is none of 0 to 2, as one of those. Standard output
    /// of this kind is no terminal: the child is told of lines without an end, whatever $COLUMNS says.
    void connect(int descriptor, int standardDescriptor);

    /// 0, or an `errno` value. The caller reaps the child.
    int start(const std::string& path, const std::vector<std::string>& arguments, pid_t& pid);

private:
    void note(int result) { error_ = error_ != 0 ? error_ : result; }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
    bool outputConnected_ = false;
    int error_ = 0;
};

/// Waits for the end of the child: its exit status, or 128 + the number of the signal that ended it. An error
/// of the domain "posix" when the system does not tell (ECHILD: somebody else has reaped it, or SIGCHLD is
/// ignored).
std::variant<int, Error> reapChild(pid_t child);

} // namespace kvn::host
