// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"

#include <string>
#include <string_view>

namespace Kvs {

/// The environment that the process was started with.
class FAppContext {
public:
    /// Returns the variable's value; empty when it is not set. Any thread, as long as no thread changes the
    /// environment.
    static FGStr<char> getEnv(const char* name);
};

/// File-system calls on the library's wide paths. Any thread.
class TFSysFile {
public:
    /// Returns true if there is a file or a directory at the path.
    static bool exists(const FGStr<wchar_t>& path);

    /// Makes a directory with mode 0777 less the umask, without its parents. Returns false, with `errno`
    /// set, on failure.
    static bool makeDirectory(const FGStr<wchar_t>& path);
};

/// Names the directories that the product writes to. Every fixed path goes through `underRoot`.
class FSysInfoPaths {
public:
    /// Sets the folder that is used in place of "/" in every fixed path. Called once, by main, before
    /// anything else.
    static void setRoot(std::string_view root);

    /// Returns the path below the root, where a relative one begins, too; or the path itself if no root is
    /// set.
    static std::string underRoot(std::string_view path);

    /// Returns $HOME, or "." when it is empty; ends with "/".
    static FGStr<char> getHomeFolder();
    static FGStr<wchar_t> getHomeFolderW();

    /// Returns the directory set by `setUserLogDirW`, else "KvLogs" in the home folder below the root
    /// (created when missing); ends with "/".
    static FGStr<wchar_t> getUserLogDirW();

    /// Creates the directory when it is missing, makes it accessible to all (0777) and stores it. A directory
    /// that is reached through a symbolic link keeps its mode. Throws FException when it can be neither found
    /// nor made.
    static void setUserLogDirW(const FGStr<wchar_t>& path);

    /// Returns log directory + prefix + the current UTC time (with "-" for ":") + extension.
    static FGStr<wchar_t> getNewLogFileNameW(const wchar_t* prefix, const wchar_t* extension);

    /// Returns the local-domain Application Support directory, below the root.
    static std::string applicationSupportDirectory();
};

/// The directories of the service's configuration and logs. Any thread.
class FOSXSystemConfig {
public:
    static FOSXSystemConfig& getInstance();

    virtual ~FOSXSystemConfig() = default;

    /// Returns the configuration directory of the named service, or of all services when the name is
    /// empty; no trailing "/". Creates nothing.
    virtual FGStr<wchar_t> getServiceConfigDirectory(const FGStr<wchar_t>& name) const;

    /// Returns the user log directory, whatever the name; ends with "/".
    virtual FGStr<wchar_t> getServiceLogDirectory(const FGStr<wchar_t>& name) const;
};

} // namespace Kvs
