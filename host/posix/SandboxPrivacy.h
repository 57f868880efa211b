// SPDX-License-Identifier: MIT

#pragma once

#include "host/PrivacyPermissions.h"
#include "host/PropertyList.h"

#include <string>

namespace kvn::host {

/// Simulates, for a sandbox, a system that guards the screen and the input devices. The user's answers are in
/// the property list "/var/db/com.korvane.remote.privacy.plist" (below the root), which is read at each
/// question:
///
///     {"KvnGUIAgent": {"accessibility": false, "screenRecording": true}, "KvnPreLoginAgent": {...}}
///
/// A permission that the file does not name is granted; if the file cannot be read, no permission is granted.
/// A question to the user is a line in the log; the answer is an edit of the file.
class SandboxPrivacy final : public PrivacyPermissions {
public:
    struct Grants {
        bool accessibility = true;
        bool screenRecording = true;
    };

    /// Takes the name of the program that the permissions belong to. The property lists outlive this object.
    SandboxPrivacy(std::string program, const PropertyList& propertyLists);

    Grants grants() const;

    bool isGuarded() const override { return true; }

    /// Returns one window, which represents the screen; it has a name if screen recording is granted.
    std::optional<std::vector<ScreenWindow>> onScreenWindows() const override;
    bool requestScreenCapture() override;
    bool isAccessibilityTrusted(bool prompt) override;

private:
    bool asked(bool granted, const char* what) const;

    const std::string program_;
    const PropertyList& propertyLists_;
};

} // namespace kvn::host
