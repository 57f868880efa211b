// SPDX-License-Identifier: MIT

#include "agent/SandboxRoot.h"

#include "core/system/FSysInfoPaths.h"
#include "core/system/LocalAddress.h"

#include <cstring>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace kvn {

namespace fs = std::filesystem;

namespace {

constexpr char kLongestSocketPath[] = "/var/run/com.korvane.remote.KvnServiceController.socket";

} // namespace

std::optional<std::string> prepareRoot(const std::string& folder, std::string& problem) {
    std::error_code error;
    const fs::path root = fs::weakly_canonical(fs::absolute(folder, error), error);
    if (root.string().size() + std::strlen(kLongestSocketPath) > Kvs::LocalAddress::kLongestPath) {
        problem = "the root " + folder + " is too long: socket paths have at most 103 bytes";
        return std::nullopt;
    }
    for (const char* part : {"var/log", "var/run", "var/tmp", "Library/LaunchAgents", "Library/LaunchDaemons",
                             "Library/Application Support/com.korvane.remote/config",
                             "Library/Application Support/com.korvane.remote/config/KorvaneRemoteservice",
                             "Library/Application Support/com.korvane.remote/registry"}) {
        if (!error && fs::create_directories(root / part, error) && !error) {
            // The umask may let others write, and the agent does not trust such a folder.
            fs::permissions(root / part, fs::perms::group_write | fs::perms::others_write,
                            fs::perm_options::remove, error);
        }
    }
    if (!error) { // the home folder below the root is used in place of the real one
        fs::create_directories(root / fs::path(Kvs::FSysInfoPaths::getHomeFolder().str()).relative_path(),
                               error);
    }
    if (!error && access((root / "var/log").c_str(), W_OK) != 0) {
        error = std::error_code(errno, std::generic_category());
    }
    if (error) {
        problem = "the root " + folder + " is not usable: " + error.message();
        return std::nullopt;
    }
    return root.string();
}

} // namespace kvn
