#pragma once

#include "core/system/FileDescriptor.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/types.h>

/// What POSIX systems name or do differently, each difference in one place. Any thread.
namespace Kvs {

/// The number by which debuggers and crash reports know the calling thread.
std::uint32_t threadIdNumber();

/// Whether a debugger is attached to this process.
bool isBeingTraced();

timespec modificationTime(const struct stat& status);

/// A socket that child processes do not inherit; empty on failure, with `errno` set.
FileDescriptor closeOnExecSocket(int domain, int type);

/// Makes a program that is started so inherit the descriptors 0 to 2 and no other, even one that is not
/// close-on-exec. Adds to the attribute's flags; the result is 0 or an `errno` value.
int spawnWithStandardDescriptorsOnly(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

/// A descriptor that poll(2) finds readable once this process, a child or not, has ended. Empty on failure,
/// with `errno` set; a number without a process (a reaped child's) is that, ESRCH, or counts as ended.
FileDescriptor watchProcessEnd(pid_t process);

/// Who was at the other end of a connected Unix-domain stream socket when the connection was made.
struct PeerCredentials {
    uid_t user;
    pid_t process;
};

/// Nothing on failure, with `errno` set.
std::optional<PeerCredentials> peerCredentialsOf(int socket);

/// Makes a write to this socket whose peer is gone fail with EPIPE and not end the process, where a socket
/// has such an option; elsewhere the process has to ignore SIGPIPE. 0 or an `errno` value.
int preventSigPipe(int socket);

} // namespace Kvs
