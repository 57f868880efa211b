#pragma once

#include "host/PrivacyPermissions.h"
#include "host/PropertyList.h"

#include <string>

namespace kvn::host {

/// A session that guards neither the screen nor the input devices: everything is granted. To play a session
/// that does, a sandbox has the property list "/var/db/com.korvane.remote.privacy.plist" (below the root),
/// which is read at each question:
///
///     {"KvnGUIAgent": {"accessibility": false, "screenRecording": true}, "KvnPreLoginAgent": {...}}
///
/// What it does not name is granted; from a file that cannot be read nothing is. To be asked is a line in
/// the log, and whoever plays the user changes the file.
class SandboxPrivacy final : public PrivacyPermissions {
public:
    struct Grants {
        bool accessibility = true;
        bool screenRecording = true;
    };

    /// The name of the program that the permissions belong to. The property lists outlive this object.
    SandboxPrivacy(std::string program, const PropertyList& propertyLists);

    Grants grants() const;

    /// One window, which stands for the screen; its name is there with the permission only.
    std::optional<std::vector<ScreenWindow>> onScreenWindows() const override;
    bool requestScreenCapture() override;
    bool isAccessibilityTrusted(bool prompt) override;

private:
    bool asked(bool granted, const char* what) const;

    const std::string program_;
    const PropertyList& propertyLists_;
};

} // namespace kvn::host
