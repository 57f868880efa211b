#pragma once

#include "core/system/FileDescriptor.h"
#include "host/MainLoop.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kvn::helper {

/// A child process in a session of its own. It is reaped when it ends, unless this object goes before.
/// Main thread.
class Child {
public:
    /// Gets the exit status, 128 + the number of the signal that ended the child, or -1 when the system does
    /// not tell; may destroy it.
    using Ended = std::function<void(int status)>;

    /// Starts a program that gets nothing to read and whose output nobody sees. Throws std::system_error.
    Child(host::MainLoop& loop, const std::string& path, const std::vector<std::string>& arguments,
          Ended ended);

    /// Takes a child over. Throws std::system_error.
    Child(host::MainLoop& loop, pid_t pid, Ended ended);

    pid_t pid() const { return pid_; }

    /// Ends it with everything that it has started in its session's first group.
    void kill() const;

private:
    void watch(host::MainLoop& loop);

    pid_t pid_ = -1;
    Ended ended_;
    Kvs::FileDescriptor end_;
    host::MainLoop::Handle watch_;
};

} // namespace kvn::helper
