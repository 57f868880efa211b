// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace kvn::host {

/// The running instances of applications. Main thread.
class RunningApplications {
public:
    virtual ~RunningApplications() = default;

    /// Returns the user's processes that run this bundle's program, this process included, in no special
    /// order.
    virtual std::vector<pid_t> instancesOf(const std::string& bundleIdentifier) const = 0;

    /// Kills a process. Returns false when that was not possible.
    virtual bool forceTerminate(pid_t process) = 0;
};

} // namespace kvn::host
