// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "host/Error.h"

#include <optional>
#include <spawn.h>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace kvn::host {

/// A pipe to or from a child process. Its descriptors are close-on-exec and greater than 2, since the child
/// uses 0 to 2 itself.
struct Pipe {
    Kvs::FileDescriptor readEnd;
    Kvs::FileDescriptor writeEnd;
};

/// Makes a pipe. Returns nullopt, with `errno` set, when the process has no descriptors left. Any thread.
std::optional<Pipe> makePipe();

/// The state in which a child process starts, instead of inheriting this process's: an empty standard input,
/// this process's standard output and error and no other descriptor, default signal handling. Can start one
/// child.
class SpawnPlan {
public:
    /// The session of the child: its own, without a terminal; its own, and also /dev/null as its output and
    /// "/" as its working directory; or this process's session and process group, where the child can use the
    /// terminal and has the terminal's stop signals blocked.
    enum class Session { Own, Detached, Shared };

    explicit SpawnPlan(Session session);
    ~SpawnPlan();
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    /// Makes this open descriptor, greater than 2, the child's descriptor 0, 1 or 2. A child whose standard
    /// output is connected in this way gets a very large $COLUMNS, because no terminal limits its lines.
    void connect(int descriptor, int standardDescriptor);

    /// Returns 0 or an `errno` value. The caller reaps the child.
    int start(const std::string& path, const std::vector<std::string>& arguments, pid_t& pid);

private:
    void note(int result) { error_ = error_ != 0 ? error_ : result; }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
    bool outputConnected_ = false;
    int error_ = 0;
};

/// Waits for the end of the child. Returns its exit status, or 128 + the number of the signal that ended it.
/// Returns an error of the domain "posix" when the status is not available (ECHILD: other code has reaped the
/// child, or SIGCHLD is ignored).
std::variant<int, Error> reapChild(pid_t child);

} // namespace kvn::host
