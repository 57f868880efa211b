// SPDX-License-Identifier: MIT

#pragma once

#include "agent/ApplicationEnvironment.h"
#include "agent/PermissionDialog.h"
#include "agent/PreferencesView.h"
#include "agent/ServiceCtrlClient.h"
#include "agent/ServiceStatusView.h"
#include "remote/platform/AgentController.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kvn {

class AppDelegate;

/// The agent controller of the application: turns the service's status into the menu's state and the
/// dialogs, and has the privileged helper carry out the user's commands. Main thread; must outlive
/// the main loop's run and the work queue's jobs.
class GUIAgentController final : public AgentController,
                                 private AgentControllerDelegate,
                                 private PHAgentEventHandler {
public:
    /// Called with the result of a task from the helper, or with null when there will be no result.
    using TaskCompletion = std::function<void(const PHMessage* result)>;

    /// `application` owns this object.
    GUIAgentController(const ApplicationEnvironment& environment, AppDelegate& application);
    ~GUIAgentController() override;

    // The dialog window.
    void showServiceStatus();
    void showPreferences();
    /// Shows the sentence with the service's status, in place of an earlier one; an empty one is none.
    void setServiceRemark(const std::string& remark);
    /// Closes the settings if they are shown, which saves them. Returns false if they will be shown again,
    /// because they could not be saved.
    bool closePreferences();

    /// Returns false where the system does not guard the user's privacy: there is nothing to check or to
    /// show.
    bool checksPermissions() const { return permissionDialog_.has_value(); }
    void checkPermissions();
    void showPermissions();

    // Commands to the service.
    bool pauseService() { return requestServicePause(); }
    bool continueService() { return requestServiceContinue(); }

    // Commands to the helper, which is installed when it is missing or not the embedded version.
    void startService();
    void stopService();
    void restartService();
    /// Asks the helper for the task's result if there is a completion.
    void executeTask(const std::string& task, const std::vector<std::string>& arguments,
                     TaskCompletion onCompletion);

    /// Ends the work on commands, because the program is about to end: what blocks on the work queue returns,
    /// and no helper is installed or started any more.
    void endHelperCommands();

private:
    using HelperCommand = std::function<bool(ServiceCtrlClient&)>; // returns false when it was not sent
    using PendingTasks = std::map<std::uint64_t, TaskCompletion>;

    // AgentControllerDelegate
    void notifyServiceStatus(const OFRServiceInfo* info) override;
    void notifyRequestFailedWithError(const std::string& text, std::int32_t code) override;

    // PHAgentEventHandler
    bool processAgentEvent(const PHMessage& event) override;
    void processErrorEvent(const host::Error* error) override;

    void showContentView(DialogContentView& view, const char* titleKey);
    void windowWillClose();
    std::string stateText(ServiceState state) const;

    void verifyServiceCtrlClient();
    void sendServiceCtrlCommand(HelperCommand command, std::optional<std::uint64_t> taskId = std::nullopt);
    void reportCompletion(const std::string& command, std::int32_t status, const std::string& details);
    void executedTaskCompletedWithResult(const PHMessage& event);
    void abandonTask(std::optional<std::uint64_t> taskId);

    const ApplicationEnvironment environment_;
    AppDelegate& appDelegate_;

    ServiceStatusView statusView_;
    std::unique_ptr<PreferencesView> prefsView_;
    std::optional<PermissionDialog> permissionDialog_; // where the system guards privacy
    DialogContentView* contentView_ = nullptr;         // in the dialog window
    bool reopensPreferences_ = false;                  // soon, with a line about the failure to save them
    std::optional<OFRServiceInfo> lastServiceState_;
    std::string lastStateText_; // empty until the first answer, or the first failure to get one

    std::shared_ptr<ServiceCtrlClient> svcCtrlClient_; // null until the first command
    PendingTasks pendingTasks_;
    std::uint64_t lastExeutedTaskId_ = 0;
};

} // namespace kvn
