// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kvn::host {

/// A window on the screen. Only programs that may record the screen see its name.
struct ScreenWindow {
    std::optional<std::string> name;
    int layer = 0;
    pid_t owner = 0;
};

/// The user's permissions for this program. Main thread.
class PrivacyPermissions {
public:
    virtual ~PrivacyPermissions() = default;

    /// Returns true if the system lets programs see the screen and control the computer only with the user's
    /// permission. Elsewhere there is no permission to check or to ask for.
    virtual bool isGuarded() const = 0;

    /// Returns the windows on the screen, from front to back; nullopt when the system does not list them.
    virtual std::optional<std::vector<ScreenWindow>> onScreenWindows() const = 0;

    /// Begins to capture the screen for a moment, which makes the system ask the user. Returns true if this
    /// program may capture it.
    virtual bool requestScreenCapture() = 0;

    /// Returns true if this program may control the computer; with `prompt` the system asks the user.
    virtual bool isAccessibilityTrusted(bool prompt) = 0;
};

} // namespace kvn::host
