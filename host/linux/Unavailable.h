// SPDX-License-Identifier: MIT

#pragma once

#include "host/PrivacyPermissions.h"
#include "host/ScriptRunner.h"

#include <cerrno>

// Implementations of the features that a Linux session does not offer.

namespace kvn::host {

/// Fails every run: the system has no AppleScript.
class NoScriptRunner final : public ScriptRunner {
public:
    std::variant<std::string, Error> run(const std::string&) override {
        return Error{"posix", ENOTSUP, "AppleScript is not available"};
    }
};

/// Permits everything, as the system does, and lists no windows.
class UnguardedPrivacy final : public PrivacyPermissions {
public:
    bool isGuarded() const override { return false; }
    std::optional<std::vector<ScreenWindow>> onScreenWindows() const override { return std::nullopt; }
    bool requestScreenCapture() override { return true; }
    bool isAccessibilityTrusted(bool) override { return true; }
};

} // namespace kvn::host
