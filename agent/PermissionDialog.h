#pragma once

#include "agent/PrivacyChecks.h"
#include "host/Bundle.h"
#include "host/Clock.h"
#include "host/DialogWindow.h"
#include "host/DistributedNotifications.h"
#include "host/MainLoop.h"
#include "host/ProcessRunner.h"
#include "host/WorkQueue.h"
#include "host/Workspace.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kvn {

/// The window that shows which privacy permissions this agent and the pre-login agent have, and lets the
/// user ask the system for the missing ones, one at a time. Pops up by itself a few times while some are
/// missing. Main thread; must outlive the main loop's run.
class PermissionDialog {
public:
    /// What the dialog works with; all of it outlives the dialog.
    struct Environment {
        host::MainLoop& mainLoop;
        const host::Clock& clock;
        const host::Bundle& bundle;
        host::DialogWindow& window;
        host::Workspace& workspace;
        host::DistributedNotifications& notifications;
        host::ProcessRunner& processRunner;
        host::WorkQueue& workQueue; // for tools
        PrivacyChecks& privacyChecks;
    };

    /// `terminate` ends the application.
    PermissionDialog(const Environment& environment, std::function<void()> terminate);
    ~PermissionDialog();
    PermissionDialog(const PermissionDialog&) = delete;
    PermissionDialog& operator=(const PermissionDialog&) = delete;

    /// Forgets what was found, and listens for the pre-login agent's answers. Before the first check.
    void begin();

    /// Finds out what is missing; shows the dialog by itself, or checks again in 10 seconds.
    void checkPermissions();

    /// Shows the dialog because the user wants to see it.
    void showPermissions() { showPermissions(true); }

private:
    /// Not all of them: a notification may carry others, which the dialog shows as unknown.
    enum State : std::int32_t {
        kNotGranted = 0,
        kGranted = 1,
        kRequestNext = 2, // unknown, and the one whose button is shown
        kUnknown = 3,
    };

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

    host::DialogRows rows();
    void addPermission(host::DialogRows& rows, const char* statusKey, std::int32_t state,
                       void (PermissionDialog::*request)());

    Environment environment_;
    const std::function<void()> terminate_;
    std::int32_t preAccessibilityPermission_ = kUnknown;
    std::int32_t preRecordingPermission_ = kUnknown;
    std::int32_t guiAccessibilityPermission_ = kUnknown;
    std::int32_t guiRecordingPermission_ = kUnknown;
    bool haveAllPermissions_ = false;
    bool didCheckPermissions_ = false;
    bool didOpenSystemPreferences_ = false; // since the dialog was last shown
    std::int32_t maxAutoPopupCount_;
    std::optional<std::chrono::steady_clock::time_point> lastPreLoginPermissionCheck_;
    host::MainLoop::Handle updateTimer_;
    host::MainLoop::Handle observer_;
};

} // namespace kvn
