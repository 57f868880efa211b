// SPDX-License-Identifier: MIT

#pragma once

#include "host/Error.h"
#include "host/linux/helper-installer/LinePipe.h"
#include "host/posix/PollUntil.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// The installer program (helper-installer/), which pkexec starts as root after it has asked the user. It
/// runs until the end of this object. One thread at a time, which may block.
class ElevatedInstaller {
public:
    /// `end` ends every wait. It outlives the installer.
    explicit ElevatedInstaller(const EndSignal& end) : end_(end) {}
    ~ElevatedInstaller();
    ElevatedInstaller(const ElevatedInstaller&) = delete;
    ElevatedInstaller& operator=(const ElevatedInstaller&) = delete;

    /// Starts the installer. Called before `bless`. Waits for the user's answer without a limit. Returns 0
    /// when the rights are granted, otherwise the Security framework's code.
    std::int32_t start(const std::string& program);

    /// Does what `HelperInstallation::bless` does.
    std::optional<Error> bless(const std::string& source, const std::string& label);

private:
    std::optional<int> finish();

    const EndSignal& end_;
    LinePipe pipe_;
    pid_t process_ = 0; // 0 before the start and after the end
};

} // namespace kvn::host
