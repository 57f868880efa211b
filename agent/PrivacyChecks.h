#pragma once

#include "host/PrivacyPermissions.h"
#include "host/SystemInfo.h"

namespace kvn {

/// Whether this program may see and control the user's session, and asking for it. Main thread.
class PrivacyChecks {
public:
    /// Both outlive the object.
    PrivacyChecks(host::PrivacyPermissions& permissions, const host::SystemInfo& system)
        : permissions_(permissions), system_(system) {}

    /// Only who may record the screen learns the names of other programs' windows, so one name that is
    /// seen proves the permission. Systems before 10.15 have no such permission.
    bool haveCaptureScreenPermission() const;

    /// Makes the system ask the user; whether the permission is there already.
    bool requestCaptureScreenPermission();

    /// Systems before 10.14 have no such permission.
    bool haveAccessibilityPermission() const;
    bool requestAccessibilityPermission();

private:
    host::PrivacyPermissions& permissions_;
    const host::SystemInfo& system_;
};

} // namespace kvn
