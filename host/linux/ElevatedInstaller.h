#pragma once

#include "host/Error.h"
#include "host/linux/helper-installer/LinePipe.h"
#include "host/posix/PollUntil.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// The installer program (helper-installer/), started as root by pkexec, which asks the user; it has his
/// rights until the object goes. One thread at a time, which may block.
class ElevatedInstaller {
public:
    /// The signal, which outlives the installer, ends every wait.
    explicit ElevatedInstaller(const EndSignal& end) : end_(end) {}
    ~ElevatedInstaller();
    ElevatedInstaller(const ElevatedInstaller&) = delete;
    ElevatedInstaller& operator=(const ElevatedInstaller&) = delete;

    /// Before anything else. 0 when the user granted the rights, however long he took; else the
    /// Security framework's code.
    std::int32_t start(const std::string& program);

    /// As `HelperInstallation::bless`.
    std::optional<Error> bless(const std::string& source, const std::string& label);

private:
    std::optional<int> finish();

    const EndSignal& end_;
    LinePipe pipe_;
    pid_t process_ = 0; // 0 while none is left to be reaped
};

} // namespace kvn::host
