// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <utility>

/// The differences between POSIX systems, each in one place. Any thread.
namespace Kvs {

/// Returns the number by which debuggers and crash reports know the calling thread.
std::uint32_t threadIdNumber();

/// Makes all threads allocate from one heap, where the C library would give each thread one of its own:
/// threads that sleep most of the time need little memory, and seldom wait for each other. Called by main,
/// before other threads start.
void useOneHeap();

/// Returns true if a debugger is attached to this process.
bool isBeingTraced();

/// Opens the system log for this process, whose lines it marks with `facility`, a constant. `withConsole`
/// copies them to standard error. One thread, before others write.
void openSystemLog(const char* facility, bool withConsole);

/// Writes a line of the level "notice" to the system log.
void writeToSystemLog(const std::string& text);

/// Writes a line for the console to the system log too, on a system where launchd starts programs without a
/// console and its viewer shows the log.
void copyConsoleToSystemLog(const std::string& text);

timespec modificationTime(const struct stat& status);
timespec statusChangeTime(const struct stat& status);

/// Makes a socket that child processes do not inherit; empty on failure, with `errno` set.
FileDescriptor closeOnExecSocket(int domain, int type);

/// Makes a pipe that child processes do not inherit, whose ends block or do not block: the end to read and
/// the end to write. Both are empty on failure, with `errno` set.
std::pair<FileDescriptor, FileDescriptor> closeOnExecPipe(bool blocks);

/// Makes the program that is started with these inherit the descriptors 0 to 2 and no other, even one that is
/// not close-on-exec. Adds to the attribute's flags. Returns 0 or an `errno` value.
int spawnWithStandardDescriptorsOnly(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

/// Returns a descriptor that poll(2) finds readable once this process, a child or not, has ended. Empty on
/// failure, with `errno` set. A number without a process, such as a reaped child's, is a failure with ESRCH
/// or counts as ended.
FileDescriptor watchProcessEnd(pid_t process);

/// The process at the other end of a connected Unix-domain stream socket when the connection was made.
struct PeerCredentials {
    uid_t user;
    pid_t process;
};

/// Returns nullopt on failure, with `errno` set.
std::optional<PeerCredentials> peerCredentialsOf(int socket);

/// Makes a write to this socket after its peer has closed it fail with EPIPE instead of ending the process.
/// Where sockets have no such option, does nothing: the process has to ignore SIGPIPE. Returns 0 or an
/// `errno` value.
int preventSigPipe(int socket);

} // namespace Kvs
