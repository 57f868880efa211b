#include "agent/AppDelegate.h"

#include "agent/AgentExitHandler.h"
#include "agent/ToolsLink.h"
#include "basic/FFLocalizedText.h"
#include "basic/FOCVersion.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "remote/platform/launchd/LoginSessionMonitor.h"

#include <unistd.h>
#include <utility>

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

constexpr char kLanguageFile[] = "/com.korvane.remote/config/language.xml";
constexpr char kOpenPreferences[] = "com.korvane.remote.ShowGUIAgentSettings";
constexpr char kOpenPreferencesObject[] = "com.korvane.remote.GUIAgentSettings";

/// A service that is not online that soon after start-up or wake-up is still starting; later it is offline.
constexpr auto kStartGrace = 15s;
constexpr auto kInstanceCheckDelay = 500ms;

/// The helper's status of a start that failed.
constexpr std::int32_t kStartFailedStatus = -201;

/// Control + Command + Up Arrow.
constexpr host::HotKeys::Key kShowItemKey{126, 0x1100, 0x73687374, 0x32323334};

} // namespace

AppDelegate::AppDelegate(const Environment& environment, std::string program, std::string bundleIdentifier)
    : environment_(environment), program_(std::move(program)), bundleIdentifier_(std::move(bundleIdentifier)),
      mainLoop_(environment.controller.connector.mainLoop),
      permissionDialog_({mainLoop_, environment.controller.clock, environment.controller.connector.bundle,
                         environment.permissionWindow, environment.workspace, environment.notifications,
                         environment.controller.connector.processRunner, environment.toolQueue,
                         environment.privacyChecks},
                        [this] { terminate(); }) {}

AppDelegate::~AppDelegate() {
    environment_.hotKeys.unregisterHotKey(myHotKeyRef_);
    environment_.statusBar.removeItem();
}

// MARK: Start and end

void AppDelegate::applicationDidFinishLaunching() {
    const host::Bundle& bundle = environment_.controller.connector.bundle;
    OCNSLog("Launched: %@ version: %@ for user: %@(%d)", program_, FOCVersion::fullVersionInfo(bundle),
            LoginSessionMonitor::getProcessOwnerName(), static_cast<int>(geteuid()));
    exitHandler_ = AgentExitHandler::install(mainLoop_, bundleIdentifier_, [this] { terminate(); });
    verifyKvnRemoteToolsLink();
    FFLocalizedText::useLanguageFile(Kvs::FSysInfoPaths::applicationSupportDirectory() + kLanguageFile);
    mainController_ = std::make_unique<GUIAgentController>(environment_.controller, *this);
    permissionDialog_.begin();
    openPreferences_ =
        environment_.notifications.observe(kOpenPreferences, kOpenPreferencesObject,
                                           [this](const auto&) { mainController_->showPreferences(); });
    registerHotKey();
    barMenu_ = createMenu();
    settingsUpdated();
    startupTime_ = environment_.controller.clock.steadyNow();
    updateAppState(AppState::NotOnline, ServiceState::Initial);
    workspaceEvents_ = environment_.workspace.observe(
        [this](host::Workspace::Event event) { workspaceNotification(event); });
    mainController_->start();
    mainController_->checkPermissions();
}

void AppDelegate::applicationWillTerminate() {
    OCNSLog("Application will terminate: %@", program_);
    openPreferences_.reset();
}

void AppDelegate::terminate() { mainLoop_.quit(); }

// MARK: Status item

std::unique_ptr<StatusMenu> AppDelegate::createMenu() {
    const auto& connector = environment_.controller.connector;
    const bool hasPermissions = connector.systemInfo.isOperatingSystemAtLeast(10, 14, 0);
    return std::make_unique<StatusMenu>(
        StatusMenu::Actions{
            .getServiceStatus = [this] { mainController_->showServiceStatus(); },
            .showLogFiles = [this] { showLogFiles(); },
            .showSettings = [this] { mainController_->showPreferences(); },
            .showPermissions = [this] { mainController_->showPermissions(); },
            .startService = [this] { mainController_->startService(); },
            .stopService = [this] { mainController_->stopService(); },
            .hideStatusItem = [this] { hideStatusItem(); },
        },
        [](const char* key) { return FFLocalizedText::shared().stringForKey(key); },
        hasPermissions ? connector.bundle.localizedString("PermissionsMenuItem") : "");
}

void AppDelegate::showStatusBarItem() { environment_.statusBar.showItem(barMenu_->items()); }

void AppDelegate::hideStatusItem() { environment_.statusBar.removeItem(); }

void AppDelegate::settingsUpdated() {
    RemoteServiceSettings& settings = environment_.controller.connector.settings;
    settings.updateSettings();
    if (settings.showStatusBarMenu()) {
        showStatusBarItem();
    } else {
        hideStatusItem();
    }
}

void AppDelegate::showLogFiles() {
    const std::string folder = Kvs::FSysInfoPaths::underRoot(kLogDirectory);
    environment_.workspace.openFolder(folder, [folder](const std::optional<host::Error>& error) {
        if (error) {
            OCNSLog("Could not open %@: %@", folder, *error);
        }
    });
}

void AppDelegate::registerHotKey() {
    const std::int32_t installed = environment_.hotKeys.installHandler([this](std::uint32_t kind) {
        switch (kind) {
        case host::HotKeys::kReleased:
            return 0;
        case host::HotKeys::kPressed:
            showStatusBarItem();
            return 0;
        default:
            return host::HotKeys::kNotHandled;
        }
    });
    if (installed != 0) {
        CNSLog("InstallApplicationEventHandler for HotKey failed: %d", installed);
    }
    if (const std::int32_t result = environment_.hotKeys.registerHotKey(kShowItemKey, myHotKeyRef_)) {
        CNSLog("RegisterEventHotKey failed: %d", result);
    }
}

// MARK: State

ServiceState AppDelegate::updateAppState(AppState appState, ServiceState serviceState) {
    const ServiceState state = effectiveState(serviceState);
    barMenu_->enableFor(state, startAttemptDidFail_);
    environment_.statusBar.updateItem(statusImage(appState));
    return state;
}

ServiceState AppDelegate::effectiveState(ServiceState serviceState) {
    const bool young = environment_.controller.clock.steadyNow() - startupTime_ <= kStartGrace;
    if (serviceState == ServiceState::Offline && young) {
        return ServiceState::Initial;
    }
    if (serviceState == ServiceState::Initial && !young) {
        return ServiceState::Offline;
    }
    if (serviceState == ServiceState::Online) {
        startAttemptDidFail_ = false;
        if (!std::exchange(runningInstancesChecked_, true)) {
            mainLoop_.postAfter(kInstanceCheckDelay, [this] { checkForRunningInstances(); });
        }
    } else if (serviceState == ServiceState::StartFailed) {
        startAttemptDidFail_ = true;
    }
    return serviceState;
}

host::StatusImage AppDelegate::statusImage(AppState appState) const {
    using Meaning = host::StatusImage::Meaning;
    switch (appState) {
    case AppState::Controlled:
        return {Meaning::Controlled, "ControlledStatusIcon"};
    case AppState::Online:
        return {Meaning::Connected, "ConnectedStatusIcon"};
    case AppState::NotOnline:
        break;
    }
    return {Meaning::NotConnected, "ConnectedStatusIcon"};
}

void AppDelegate::checkForRunningInstances() {
    for (const pid_t process : environment_.runningApplications.instancesOf(bundleIdentifier_)) {
        if (process != getpid()) {
            CNSLog("Another running KvnGUIAgent instance found, sending terminate event");
            environment_.runningApplications.forceTerminate(process);
            return;
        }
    }
    CNSLog("No other running KvnGUIAgent instance found");
}

void AppDelegate::workspaceNotification(host::Workspace::Event event) {
    switch (event) {
    case host::Workspace::Event::WillSleep:
        CNSLog("System will sleep, stopping controller");
        updateAppState(AppState::NotOnline, ServiceState::Offline);
        mainController_->stop();
        break;
    case host::Workspace::Event::DidWake:
        CNSLog("System did wake up, starting controller");
        startupTime_ = environment_.controller.clock.steadyNow();
        updateAppState(AppState::NotOnline, ServiceState::Initial);
        mainController_->start();
        break;
    case host::Workspace::Event::WillEndSession:
        terminate();
        break;
    }
}

// MARK: Completions

void AppDelegate::startServiceCompletedWithStatus(std::int32_t status) {
    CNSLog("start service completed: %d", status);
    if (status == kStartFailedStatus) {
        updateAppState(AppState::NotOnline, ServiceState::StartFailed);
    } else {
        startupTime_ = environment_.controller.clock.steadyNow();
        updateAppState(AppState::NotOnline, ServiceState::Initial);
    }
    mainController_->requestServiceStatus();
}

void AppDelegate::stopServiceCompletedWithStatus(std::int32_t status) {
    CNSLog("stop service completed: %d", status);
    if (status == 0) {
        startAttemptDidFail_ = false;
    }
    mainController_->requestServiceStatus();
}

void AppDelegate::restartServiceCompletedWithStatus(std::int32_t) { mainController_->requestServiceStatus(); }

} // namespace kvn
