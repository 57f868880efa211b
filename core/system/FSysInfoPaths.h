#pragma once

#include "core/text/FGStr.h"

#include <string>
#include <string_view>

namespace Kvs {

/// Names the directories that the product writes to. Every fixed path goes through `underRoot`.
class FSysInfoPaths {
public:
    /// Sets the folder that stands for "/" in every fixed path. Once, by main, before anything else runs.
    static void setRoot(std::string_view root);

    /// A fixed absolute path, below the root if one is set.
    static std::string underRoot(std::string_view path);

    /// $HOME, or "." when it is empty; ends with "/".
    static FGStr<char> getHomeFolder();
    static FGStr<wchar_t> getHomeFolderW();

    /// The directory set by `setUserLogDirW`, else "KvLogs" in the home folder (created when missing);
    /// ends with "/".
    static FGStr<wchar_t> getUserLogDirW();

    /// Creates the directory when it is missing, makes it accessible to all (0777) and stores it.
    /// Throws FException when it can be neither found nor made.
    static void setUserLogDirW(const FGStr<wchar_t>& path);

    /// Log directory + prefix + the current UTC time (with "-" for ":") + extension.
    static FGStr<wchar_t> getNewLogFileNameW(const wchar_t* prefix, const wchar_t* extension);

    /// The local-domain Application Support directory (below the root).
    static std::string applicationSupportDirectory();
};

} // namespace Kvs
