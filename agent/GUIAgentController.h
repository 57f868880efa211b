#pragma once

#include "agent/AgentApplication.h"
#include "agent/AgentObserver.h"
#include "agent/PreferencesView.h"
#include "agent/ServiceCtrlClient.h"
#include "agent/ServiceStatusView.h"
#include "host/WorkQueue.h"
#include "remote/platform/AgentController.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kvn {

/// The agent controller of the application: turns what it learns of the service into the menu's state and
/// the dialogs, and has the privileged helper carry out what the user asks for. Main thread; must outlive
/// the main loop's run and the work queue's jobs.
class GUIAgentController final : public AgentController,
                                 private AgentControllerDelegate,
                                 private PHAgentEventHandler {
public:
    /// What a controller works with; all of it outlives the controller.
    struct Environment {
        RemoteServiceConnector::Environment connector;
        PHAgentClient::Environment helper;
        const host::Clock& clock;
        host::WorkQueue& workQueue;
    };

    /// Gets the result that the helper tells of a task, or null when there will be none.
    using TaskCompletion = std::function<void(const PHMessage* result)>;

    GUIAgentController(const Environment& environment, AgentApplication& application);
    ~GUIAgentController() override;

    /// May be null.
    void setObserver(AgentObserver* observer) { observer_ = observer; }

    // The dialog window.
    void showServiceStatus();
    void showPreferences();
    void checkPermissions();
    void showPermissions();

    // Commands to the service.
    bool pauseService() { return requestServicePause(); }
    bool continueService() { return requestServiceContinue(); }

    // Commands to the helper, which is installed when it is missing or not the embedded version.
    void startService();
    void stopService();
    void restartService();
    /// Without a completion the helper is not asked for the result.
    void executeTask(const std::string& task, const std::vector<std::string>& arguments,
                     TaskCompletion onCompletion);

private:
    using HelperCommand = std::function<void(ServiceCtrlClient&)>;
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
    void executedTaskCompletedWithResult(const PHMessage& event);
    void abandonTask(std::optional<std::uint64_t> taskId);

    Environment environment_;
    AgentApplication& appDelegate_;
    AgentObserver* observer_ = nullptr;

    std::unique_ptr<ServiceStatusView> statusView_; // made when first shown
    std::unique_ptr<PreferencesView> prefsView_;
    DialogContentView* contentView_ = nullptr; // in the dialog window
    std::optional<OFRServiceInfo> lastServiceState_;
    std::string lastStateText_; // empty until a first answer, or the failure to get one

    std::shared_ptr<ServiceCtrlClient> svcCtrlClient_; // made for the first command
    PendingTasks pendingTasks_;
    std::uint64_t lastExeutedTaskId_ = 0;
};

} // namespace kvn
