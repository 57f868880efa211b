// SPDX-License-Identifier: MIT

#pragma once

#include "host/PrivacyPermissions.h"
#include "host/SystemInfo.h"

namespace kvn::host {

/// The permissions of the system's privacy settings.
class MacPrivacyPermissions final : public PrivacyPermissions {
public:
    /// `systemInfo` outlives this object.
    explicit MacPrivacyPermissions(const SystemInfo& systemInfo) : systemInfo_(systemInfo) {}

    bool isGuarded() const override { return true; }
    std::optional<std::vector<ScreenWindow>> onScreenWindows() const override;
    bool requestScreenCapture() override;
    bool isAccessibilityTrusted(bool prompt) override;

private:
    const SystemInfo& systemInfo_;
};

} // namespace kvn::host
