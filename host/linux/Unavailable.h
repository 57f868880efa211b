// SPDX-License-Identifier: MIT

#pragma once

#include "host/HotKeys.h"
#include "host/Pointer.h"
#include "host/PrivacyPermissions.h"
#include "host/ScriptRunner.h"

#include <cerrno>

// Implementations of the features that a Linux session does not offer.

namespace kvn::host {

/// Registers no key: no program can watch keys for all applications.
class NoHotKeys final : public HotKeys {
public:
    std::int32_t installHandler(Handler) override { return 0; }
    std::int32_t registerHotKey(const Key&, Reference& reference) override {
        reference = 0;
        return kNotImplemented;
    }
    void unregisterHotKey(Reference) override {}

private:
    static constexpr std::int32_t kNotImplemented = -4; // Carbon, unimpErr
};

/// The pointer on a system where programs may not see or move it, such as Wayland, or that has none.
class NoPointer final : public Pointer {
public:
    Point location() const override { return {}; }
    double mainScreenHeight() const override { return 0; }
    void postMove(Point) override {}
};

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
