// SPDX-License-Identifier: MIT

#include "agent/GUIAgentController.h"

#include "agent/AppDelegate.h"
#include "core/logging/CNSLog.h"

namespace kvn {

using Kvs::OCNSLog;

namespace {

constexpr char kSettingsTitle[] = "SettingsDialogTitle";

/// Returns the details of the service's state for a front end that shows them as text.
host::StateDetails detailsOf(const OFRServiceInfo* info) {
    if (!info) {
        return {};
    }
    return {{"server", info->server},
            {"registration", info->registration},
            {"version", info->version},
            {"last error", info->lastError},
            {"proxies", info->proxyInfos.empty() ? "" : std::to_string(info->proxyInfos.size())},
            {"session", info->subProcessRunning ? "running" : ""}};
}

} // namespace

GUIAgentController::GUIAgentController(const ApplicationEnvironment& environment, AppDelegate& application)
    : AgentController({environment.mainLoop, environment.clock, environment.toolQueue,
                       environment.processRunner, environment.bundle, environment.systemInfo,
                       environment.sessionInfo, environment.sleepMonitor, environment.settings}),
      environment_(environment), appDelegate_(application), statusView_(environment.bundle) {
    setControllerDelegate(this);
    environment_.userInterface.dialogWindow().onClose([this] { windowWillClose(); });
    if (environment_.privacyPermissions.isGuarded()) {
        permissionDialog_.emplace(environment_, [this] { appDelegate_.terminate(); });
    }
}

GUIAgentController::~GUIAgentController() {
    environment_.userInterface.dialogWindow().onClose(nullptr);
    if (svcCtrlClient_) {
        svcCtrlClient_->dropEventHandler();
    }
}

// MARK: Status

void GUIAgentController::notifyServiceStatus(const OFRServiceInfo* info) {
    using AppState = AppDelegate::AppState;
    const ServiceState state = info ? info->status : ServiceState::Offline;
    AppState appState = AppState::NotOnline;
    if (state == ServiceState::Online) {
        appState = info->subProcessRunning ? AppState::Controlled : AppState::Online;
    }
    lastStateText_ = stateText(appDelegate_.updateAppState(appState, state));
    statusView_.showStatus(lastStateText_, info);
    // Without a previous state "online" is assumed, so that a first "online" is not logged.
    const ServiceState previous = lastServiceState_ ? lastServiceState_->status : ServiceState::Online;
    if (state != previous && info) {
        OCNSLog("RemoteService status: %@, server:%@, registration:%@", lastStateText_, info->server,
                info->registration);
    } else if (state != previous) {
        OCNSLog("RemoteService status: %@", lastStateText_);
    }
    lastServiceState_ = info ? std::optional(*info) : std::nullopt;
    environment_.userInterface.showState(lastStateText_, detailsOf(info));
}

std::string GUIAgentController::stateText(ServiceState state) const {
    return OFRServiceInfo::serviceStateAsString(state, environment_.bundle);
}

void GUIAgentController::notifyRequestFailedWithError(const std::string& text, std::int32_t code) {
    // A failure that a layer reports by itself has no error number in these bits.
    constexpr std::int32_t kLow31Bits = 0x7FFFFFFF;
    if ((code & kLow31Bits) == 0) {
        OCNSLog("%@", text);
    } else {
        OCNSLog("%@ (%d)", text, code);
    }
}

// MARK: Dialogs

void GUIAgentController::showServiceStatus() {
    if (!closePreferences()) {
        return;
    }
    requestServiceStatus();
    const host::Bundle& bundle = environment_.bundle;
    const OFRServiceInfo* details = lastServiceState_ ? &*lastServiceState_ : nullptr;
    statusView_.showStatus(lastStateText_.empty() ? bundle.localizedString("StatusPending") : lastStateText_,
                           details);
    showContentView(statusView_, "StatusDialogTitle");
}

void GUIAgentController::setServiceRemark(const std::string& remark) { statusView_.setRemark(remark); }

void GUIAgentController::showPreferences() {
    if (!closePreferences()) {
        return;
    }
    if (!prefsView_) {
        prefsView_ = std::make_unique<PreferencesView>(environment_.settings, environment_.bundle);
    }
    prefsView_->updateControls();
    showContentView(*prefsView_, kSettingsTitle);
}

void GUIAgentController::showContentView(DialogContentView& view, const char* titleKey) {
    constexpr double kTopMargin = 32.0;
    host::DialogWindow& window = environment_.userInterface.dialogWindow();
    contentView_ = &view;
    view.onChange([this, &window, &view] {
        if (contentView_ == &view) {
            window.update(view.lines());
        }
    });
    window.show(environment_.bundle.localizedString(titleKey), view.lines(),
                {host::DialogPlace::Anchor::TopCentre, kTopMargin, view.width(), view.height()});
}

void GUIAgentController::windowWillClose() {
    if (!prefsView_ || contentView_ != prefsView_.get()) {
        return;
    }
    if (!prefsView_->saveCurrentSettings()) {
        reopensPreferences_ = true;
        environment_.mainLoop.post([this] { // the window is still closing
            reopensPreferences_ = false;
            showContentView(*prefsView_, kSettingsTitle);
        });
    }
    appDelegate_.settingsUpdated();
}

bool GUIAgentController::closePreferences() {
    if (prefsView_ && contentView_ == prefsView_.get()) {
        environment_.userInterface.dialogWindow().close();
    }
    return !reopensPreferences_;
}

void GUIAgentController::checkPermissions() {
    if (permissionDialog_) {
        permissionDialog_->checkPermissions();
    }
}

void GUIAgentController::showPermissions() {
    if (permissionDialog_) {
        permissionDialog_->showPermissions();
    }
}

} // namespace kvn
