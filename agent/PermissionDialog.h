// SPDX-License-Identifier: MIT

#pragma once

#include "agent/ApplicationEnvironment.h"
#include "agent/PrivacyChecks.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace kvn {

/// The window that shows which privacy permissions this agent and the pre-login agent have, and lets the user
/// ask the system for the missing ones, one at a time. It is shown without a request a few times while some
/// are missing. Exists only where the system guards the user's privacy. Main thread; must outlive the main
/// loop's run.
class PermissionDialog {
public:
    /// Listens for the pre-login agent's answers from now on. `terminate` ends the application.
    PermissionDialog(const ApplicationEnvironment& environment, host::MainLoop::Task terminate);
    ~PermissionDialog();
    PermissionDialog(const PermissionDialog&) = delete;
    PermissionDialog& operator=(const PermissionDialog&) = delete;

    /// Finds out which permissions are missing. While one is missing, shows the dialog, at most a few times,
    /// or checks again in 10 seconds.
    void checkPermissions();

    /// Shows the dialog at the user's request. Afterwards it may be shown without a request a few times
    /// again.
    void showPermissions() { showPermissions(true); }

private:
    /// The values appear in the log and in the pre-login agent's notifications. A notification may have other
    /// values, which count as not granted.
    enum class State : std::int32_t {
        NotGranted = 0,
        Granted = 1,
        RequestNext = 2, // unknown, and the one whose button is shown
        Unknown = 3,
    };
    static int number(State state) { return static_cast<int>(state); }

    static constexpr std::int32_t kAutoPopups = 2;

    void showPermissions(bool reset);
    void updateStatus();
    void resetPermissions();
    void updatePermissions();
    void updateControlsForPermissions();
    void verifyGUIPermissions();
    void verifyPreLoginPermissions();
    void startUpdateTimer();
    void handleNotification(const host::Notification& notification);
    void windowWillClose();

    void requestPreLoginPermission(const char* option);
    void requestPreLoginAccessibilityPermission();
    void requestPreLoginRecordingPermission();
    void requestGUIAccessibilityPermission();
    void requestGUIRecordingPermission();
    void openAccessibilitySettings();
    void openScreenRecordingSettings();
    void openSettings(const char* pane);

    host::DialogLines lines();
    host::DialogLine permissionLine(const char* id, const char* statusKey, State state,
                                    void (PermissionDialog::*request)());

    const ApplicationEnvironment environment_;
    host::DialogWindow& window_;
    const host::MainLoop::Task terminate_;
    PrivacyChecks privacyChecks_;
    State preAccessibilityPermission_ = State::Unknown;
    State preRecordingPermission_ = State::Unknown;
    State guiAccessibilityPermission_ = State::Unknown;
    State guiRecordingPermission_ = State::Unknown;
    bool haveAllPermissions_ = false;
    bool didCheckPermissions_ = false;
    bool didOpenSystemPreferences_ = false; // since the dialog was last shown
    std::int32_t maxAutoPopupCount_ = kAutoPopups;
    std::optional<std::chrono::steady_clock::time_point> lastPreLoginPermissionCheck_;
    host::MainLoop::Handle updateTimer_;
    host::MainLoop::Handle observer_;
};

} // namespace kvn
