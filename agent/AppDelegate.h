#pragma once

#include "agent/AgentApplication.h"
#include "agent/GUIAgentController.h"
#include "agent/PermissionDialog.h"
#include "agent/StatusMenu.h"
#include "host/DistributedNotifications.h"
#include "host/HotKeys.h"
#include "host/RunningApplications.h"
#include "host/StatusBar.h"
#include "host/Workspace.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace kvn {

/// The application: starts everything up, keeps the status item and its menu in step with the service,
/// follows sleep and wake-up, and sees to it that one agent of this bundle runs. Main thread; must outlive
/// the main loop's run and the work queue's jobs.
class AppDelegate final : public AgentApplication {
public:
    static constexpr char kLogDirectory[] = "/var/log/com.korvane.remote";

    /// What the application works with; all of it outlives the application.
    struct Environment {
        GUIAgentController::Environment controller;
        host::StatusBar& statusBar;
        host::DialogWindow& dialogWindow;
        host::DialogWindow& permissionWindow;
        host::Workspace& workspace;
        host::DistributedNotifications& notifications;
        host::RunningApplications& runningApplications;
        host::HotKeys& hotKeys;
        host::WorkQueue& toolQueue;
        PrivacyChecks& privacyChecks;
    };

    AppDelegate(const Environment& environment, std::string program, std::string bundleIdentifier);
    ~AppDelegate() override;

    /// The start-up sequence.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    /// Valid once launched.
    GUIAgentController& mainController() { return *mainController_; }

    /// Ends the main loop's run.
    void terminate();

    void showStatusBarItem();
    void hideStatusItem();
    void showLogFiles();
    void workspaceNotification(host::Workspace::Event event);
    void restartServiceCompletedWithStatus(std::int32_t status);

    // AgentApplication
    ServiceState updateAppState(AppState appState, ServiceState serviceState) override;
    void startServiceCompletedWithStatus(std::int32_t status) override;
    void stopServiceCompletedWithStatus(std::int32_t status) override;
    void settingsUpdated() override;
    host::DialogWindow& dialogWindow() override { return environment_.dialogWindow; }
    PermissionDialog& permissionDialog() override { return permissionDialog_; }

private:
    std::unique_ptr<StatusMenu> createMenu();
    void registerHotKey();
    ServiceState effectiveState(ServiceState serviceState);
    host::StatusImage statusImage(AppState appState) const;
    void checkForRunningInstances();

    Environment environment_;
    const std::string program_;
    const std::string bundleIdentifier_;
    host::MainLoop& mainLoop_;
    PermissionDialog permissionDialog_;
    std::unique_ptr<GUIAgentController> mainController_;
    std::unique_ptr<StatusMenu> barMenu_;
    std::chrono::steady_clock::time_point startupTime_;
    bool startAttemptDidFail_ = false; // the last one, by the helper
    bool runningInstancesChecked_ = false;
    host::HotKeys::Reference myHotKeyRef_ = 0;
    host::MainLoop::Handle exitHandler_;
    host::MainLoop::Handle openPreferences_;
    host::MainLoop::Handle workspaceEvents_;
};

} // namespace kvn
