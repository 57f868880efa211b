// SPDX-License-Identifier: MIT

#include "agent/PrivacyChecks.h"

#include "core/logging/CNSLog.h"

#include <algorithm>
#include <string>
#include <unistd.h>

namespace kvn {

namespace {

using Kvs::CNSDbgLog;
using Kvs::CNSLog;
using Kvs::OCNSLog;

// Window levels (CoreGraphics, CGWindowLevel.h): every program may read the names of windows below the
// desktop, of the Dock and of the menu bar.
constexpr int kDesktopLevel = -2147483623;
constexpr int kMainMenuLevel = 24;
constexpr int kDockLayer = -20;

bool isCapturable(const host::ScreenWindow& window) {
    const bool capturable = window.name && window.layer >= kDesktopLevel && window.layer != kDockLayer &&
                            window.layer != kMainMenuLevel && window.owner != getpid();
    OCNSLog("%@ capture window: %@ (%d), pid: %d", capturable ? "Can" : "No", window.name.value_or("(null)"),
            window.layer, static_cast<int>(window.owner));
    return capturable;
}

} // namespace

bool PrivacyChecks::haveCaptureScreenPermission() const {
    if (!permissions_.isGuarded() || !system_.isOperatingSystemAtLeast(10, 15, 0)) {
        return true;
    }
    const auto windows = permissions_.onScreenWindows();
    if (!windows) {
        return false;
    }
    CNSDbgLog("%s", std::string(64, '=').c_str());
    CNSDbgLog("Pid: %d, window levels: %d, %d, %d", static_cast<int>(getpid()), kDesktopLevel, kMainMenuLevel,
              kDockLayer);
    const auto count = std::count_if(windows->begin(), windows->end(), [](const auto& window) {
        CNSDbgLog("%s", "");
        return isCapturable(window);
    });
    CNSDbgLog("%s", std::string(65, '-').c_str());
    CNSLog("Can capture windows: %d", static_cast<int>(count));
    return count > 0;
}

bool PrivacyChecks::requestCaptureScreenPermission() {
    const bool permitted = permissions_.requestScreenCapture();
    CNSLog("Requested screen recording permission, current state: %s",
           permitted ? "permitted" : "not permitted");
    return permitted;
}

bool PrivacyChecks::haveAccessibilityPermission() const {
    return !system_.isOperatingSystemAtLeast(10, 14, 0) || permissions_.isAccessibilityTrusted(false);
}

bool PrivacyChecks::requestAccessibilityPermission() {
    const bool trusted =
        !system_.isOperatingSystemAtLeast(10, 14, 0) || permissions_.isAccessibilityTrusted(true);
    CNSLog("Tried to prompt for Accessibility Permission, current state: %d", trusted);
    return trusted;
}

} // namespace kvn
