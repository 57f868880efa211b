// SPDX-License-Identifier: MIT

#pragma once

#include "host/RunningApplications.h"

#include <filesystem>
#include <string>

namespace kvn::host {

/// The instances of this process's own program: processes of the same user with the same root that run the
/// same executable file, or the file that an update has replaced. Each root is treated as a machine of its
/// own, so agents of different roots do not see each other. Other bundles have no instances.
class LinuxRunningApplications final : public RunningApplications {
public:
    /// Takes the identifier of this process's bundle. Created after the root has been set.
    explicit LinuxRunningApplications(std::string bundleIdentifier);

    std::vector<pid_t> instancesOf(const std::string& bundleIdentifier) const override;

    /// Sends SIGKILL. Returns false also for a process that is not an instance (any more).
    bool forceTerminate(pid_t process) override;

private:
    class OwnExecutable;

    bool isInstance(pid_t process, const OwnExecutable& own) const;

    const std::string bundleIdentifier_;
    const std::filesystem::path root_;
};

} // namespace kvn::host
