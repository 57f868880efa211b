// SPDX-License-Identifier: MIT

#pragma once

#include "host/RunningApplications.h"

#include <filesystem>

namespace kvn::host {

/// The instances of this process's own bundle: the applications that the system lists, and the user's
/// processes that run the same executable, because the system does not list an agent without a window server.
/// Each root is treated as a machine of its own, so agents of different roots do not see each other. Other
/// bundles have no instances.
class MacRunningApplications final : public RunningApplications {
public:
    /// Takes the identifier of this process's bundle. Created after the root has been set.
    explicit MacRunningApplications(std::string bundleIdentifier);

    std::vector<pid_t> instancesOf(const std::string& bundleIdentifier) const override;

    /// Also returns false for a process that is not an instance of this program.
    bool forceTerminate(pid_t process) override;

private:
    const std::string bundleIdentifier_;
    const std::filesystem::path root_;
};

} // namespace kvn::host
