// SPDX-License-Identifier: MIT

#pragma once

#include "agent/ApplicationEnvironment.h"
#include "agent/DialogRequests.h"
#include "agent/GUIAgentController.h"
#include "agent/ServiceNotices.h"
#include "agent/StatusMenu.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kvn {

/// Ends the agent in an orderly way when the system asks for it. Main thread.
class AgentExitHandler {
public:
    AgentExitHandler(std::string bundleIdentifier, host::MainLoop::Task terminate);

    /// Handles SIGTERM, by which the system ends agents, as long as this object lives. Once a process.
    void install(host::MainLoop& mainLoop);

    void terminateAgent() const;

private:
    const std::string bundleIdentifier_;
    const host::MainLoop::Task terminate_;
    host::MainLoop::Handle signal_;
};

/// The application: starts everything, keeps the status item and its menu in step with the service,
/// follows sleep and wake-up, and makes sure that one agent of this bundle runs. Main thread; must outlive
/// the main loop's run and the work queue's jobs.
class AppDelegate {
public:
    static constexpr char kLogDirectory[] = "/var/log/com.korvane.remote";

    /// The states that the status icon shows.
    enum class AppState : std::int32_t {
        Online = 0,     // no remote session
        NotOnline = 1,  // the service is not online, or the agent is stopped for sleep
        Controlled = 2, // online, and a remote session runs
    };

    AppDelegate(const ApplicationEnvironment& environment, std::string program, std::string bundleIdentifier);
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// Runs the start-up sequence.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    /// Must not be called before `applicationDidFinishLaunching`.
    GUIAgentController& mainController() { return *mainController_; }

    /// Returns the commands that a front end can offer as text. Called after `applicationDidFinishLaunching`;
    /// the application outlives the commands.
    host::Commands commands();

    /// Ends the main loop's run. The status item goes first, as a loop that shows its open menu may not end.
    void terminate();

    void showStatusBarItem();
    void hideStatusItem();
    void showLogFiles();

    /// Returns false if the front end does not show it. Called after `applicationDidFinishLaunching`.
    bool show(RequestedDialog dialog);

    /// Reads the settings again, and shows or hides the status item as they say.
    void settingsUpdated();

    /// Updates the menu and the icon. Returns the service state to show, which may differ from the reported
    /// one.
    ServiceState updateAppState(AppState appState, ServiceState serviceState);

    void workspaceNotification(host::Workspace::Event event);

    // Called when the helper has carried out a command, with its status.
    void startServiceCompletedWithStatus(std::int32_t status);
    void stopServiceCompletedWithStatus(std::int32_t status);
    void restartServiceCompletedWithStatus(std::int32_t status);

    /// Keeps the link "KvnRemotedTools" in the user's Applications folder to the product's tools. Creates the
    /// link if nothing has its name, and in place of a folder of that name; leaves an existing link as it is,
    /// whatever its target.
    static void verifyKvnRemoteToolsLink();

private:
    /// Returns the folder that the log files are in, which is another than `kLogDirectory` if that cannot be
    /// made.
    static std::string logFolder();

    std::unique_ptr<StatusMenu> createMenu();
    void registerHotKey();
    void explainMissingHotKey();
    void tell(ServiceNotices::Notice notice);
    ServiceState effectiveState(ServiceState serviceState);
    void checkForRunningInstances();

    const ApplicationEnvironment environment_;
    const std::string program_;
    const std::string bundleIdentifier_;
    AgentExitHandler exitHandler_;
    std::unique_ptr<GUIAgentController> mainController_;
    std::unique_ptr<StatusMenu> barMenu_;
    std::chrono::steady_clock::time_point startupTime_;
    bool startAttemptDidFail_ = false; // of the last attempt, which the helper made
    bool runningInstancesChecked_ = false;
    bool endedOtherAgent_ = false; // which nothing starts again when this one ends
    host::HotKeys::Reference myHotKeyRef_ = 0;
    ServiceNotices notices_;
    std::optional<DialogRequests> dialogRequests_;
    host::MainLoop::Handle workspaceEvents_;
};

} // namespace kvn
