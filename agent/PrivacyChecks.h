// SPDX-License-Identifier: MIT

#pragma once

#include "host/PrivacyPermissions.h"
#include "host/SystemInfo.h"

namespace kvn {

/// Checks and requests the permissions to see and to control the user's session, on a system that guards
/// them. Main thread.
class PrivacyChecks {
public:
    /// `permissions` and `system` outlive this object.
    PrivacyChecks(host::PrivacyPermissions& permissions, const host::SystemInfo& system)
        : permissions_(permissions), system_(system) {}

    /// Returns true if this program can read the name of another program's window, which the system gives
    /// only to programs that may record the screen. Systems before 10.15 have no such permission.
    bool haveCaptureScreenPermission() const;

    /// Makes the system ask the user. Returns true if the permission has already been granted.
    bool requestCaptureScreenPermission();

    /// Systems before 10.14 have no such permission.
    bool haveAccessibilityPermission() const;
    bool requestAccessibilityPermission();

private:
    host::PrivacyPermissions& permissions_;
    const host::SystemInfo& system_;
};

} // namespace kvn
