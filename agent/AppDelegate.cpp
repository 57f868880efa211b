// SPDX-License-Identifier: MIT

#include "agent/AppDelegate.h"

#include "basic/FFLocalizedText.h"
#include "basic/FOCVersion.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "remote/platform/launchd/LoginSessionMonitor.h"

#include <csignal>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

constexpr char kLanguageFile[] = "/com.korvane.remote/config/language.xml";

/// The time after start-up or wake-up in which a service that is not online counts as starting.
constexpr auto kStartGrace = 15s;
constexpr auto kInstanceCheckDelay = 500ms;

/// The helper's status of a start that failed.
constexpr std::int32_t kStartFailedStatus = -201;

/// Control + Command + Up Arrow.
constexpr host::HotKeys::Key kShowItemKey{126, 0x1100, 0x73687374, 0x32323334};

host::StatusImage statusImage(AppDelegate::AppState appState) {
    using Meaning = host::StatusImage::Meaning;
    switch (appState) {
    case AppDelegate::AppState::Controlled:
        return {Meaning::Controlled, "ControlledStatusIcon"};
    case AppDelegate::AppState::Online:
        return {Meaning::Connected, "ConnectedStatusIcon"};
    case AppDelegate::AppState::NotOnline:
        break;
    }
    return {Meaning::NotConnected, "ConnectedStatusIcon"};
}

} // namespace

AgentExitHandler::AgentExitHandler(std::string bundleIdentifier, host::MainLoop::Task terminate)
    : bundleIdentifier_(std::move(bundleIdentifier)), terminate_(std::move(terminate)) {}

void AgentExitHandler::install(host::MainLoop& mainLoop) {
    signal_ = mainLoop.onSignal(SIGTERM, [this] { terminateAgent(); });
}

void AgentExitHandler::terminateAgent() const {
    OCNSLog("Terminating agent: %@", bundleIdentifier_);
    terminate_();
}

AppDelegate::AppDelegate(const ApplicationEnvironment& environment, std::string program,
                         std::string bundleIdentifier)
    : environment_(environment), program_(std::move(program)), bundleIdentifier_(std::move(bundleIdentifier)),
      exitHandler_(bundleIdentifier_, [this] { terminate(); }),
      notices_(environment_.clock, [this](ServiceNotices::Notice notice) { tell(notice); }) {}

AppDelegate::~AppDelegate() {
    environment_.userInterface.hotKeys().unregisterHotKey(myHotKeyRef_);
    environment_.userInterface.statusBar().removeItem();
}

// MARK: Start and end

void AppDelegate::applicationDidFinishLaunching() {
    OCNSLog("Launched: %@ version: %@ for user: %@(%d)", program_,
            FOCVersion::fullVersionInfo(environment_.bundle), LoginSessionMonitor::getProcessOwnerName(),
            static_cast<int>(geteuid()));
    exitHandler_.install(environment_.mainLoop);
    verifyKvnRemoteToolsLink();
    FFLocalizedText::useLanguageFile(Kvs::FSysInfoPaths::applicationSupportDirectory() + kLanguageFile);
    mainController_ = std::make_unique<GUIAgentController>(environment_, *this);
    dialogRequests_.emplace(environment_.notifications,
                            [this](RequestedDialog dialog) { return show(dialog); });
    registerHotKey();
    barMenu_ = createMenu();
    settingsUpdated();
    startupTime_ = environment_.clock.steadyNow();
    updateAppState(AppState::NotOnline, ServiceState::Initial);
    workspaceEvents_ = environment_.userInterface.workspace().observe(
        [this](host::Workspace::Event event) { workspaceNotification(event); });
    mainController_->start();
    mainController_->checkPermissions();
}

void AppDelegate::applicationWillTerminate() {
    OCNSLog("Application will terminate: %@", program_);
    if (mainController_) {
        mainController_->endHelperCommands();
    }
    if (endedOtherAgent_) {
        environment_.userInterface.message(environment_.bundle.localizedString("OtherAgentMissing"));
    }
    dialogRequests_.reset();
    mainController_->closePreferences();
}

void AppDelegate::terminate() {
    hideStatusItem();
    environment_.mainLoop.quit();
}

// MARK: Status item

std::unique_ptr<StatusMenu> AppDelegate::createMenu() {
    const bool hasPermissions =
        mainController_->checksPermissions() && environment_.systemInfo.isOperatingSystemAtLeast(10, 14, 0);
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
        hasPermissions ? std::optional(environment_.bundle.localizedString("PermissionsMenuItem"))
                       : std::nullopt);
}

void AppDelegate::showStatusBarItem() { environment_.userInterface.statusBar().showItem(barMenu_->items()); }

void AppDelegate::hideStatusItem() { environment_.userInterface.statusBar().removeItem(); }

void AppDelegate::settingsUpdated() {
    environment_.settings.updateSettings();
    if (environment_.settings.showStatusBarMenu()) {
        showStatusBarItem();
    } else {
        hideStatusItem();
    }
}

std::string AppDelegate::logFolder() {
    std::string folder = fNarrow(Kvs::FSysInfoPaths::getUserLogDirW());
    folder.pop_back(); // the slash
    return folder;
}

void AppDelegate::showLogFiles() {
    const std::string folder = logFolder();
    environment_.userInterface.workspace().openFolder(
        folder, [folder](const std::optional<host::Error>& error) {
            if (error) {
                OCNSLog("Could not open %@: %@", folder, *error);
            }
        });
}

bool AppDelegate::show(RequestedDialog dialog) {
    switch (dialog) {
    case RequestedDialog::Settings:
        mainController_->showPreferences();
        break;
    case RequestedDialog::Status:
        mainController_->showServiceStatus();
        break;
    }
    return environment_.userInterface.dialogWindow().isVisible();
}

void AppDelegate::registerHotKey() {
    host::HotKeys& hotKeys = environment_.userInterface.hotKeys();
    const std::int32_t installed = hotKeys.installHandler([this](std::uint32_t kind) {
        switch (kind) {
        case host::HotKeys::kReleased:
            return 0;
        case host::HotKeys::kPressed:
            showStatusBarItem();
            return 0;
        case host::HotKeys::kRefused:
            explainMissingHotKey();
            return 0;
        case host::HotKeys::kGranted:
            mainController_->setServiceRemark("");
            return 0;
        default:
            return host::HotKeys::kNotHandled;
        }
    });
    if (installed != 0) {
        CNSLog("InstallApplicationEventHandler for HotKey failed: %d", installed);
    }
    if (const std::int32_t result = hotKeys.registerHotKey(kShowItemKey, myHotKeyRef_)) {
        CNSLog("RegisterEventHotKey failed: %d", result);
        if (result == host::HotKeys::kTaken) {
            explainMissingHotKey();
        }
    }
}

void AppDelegate::explainMissingHotKey() {
    constexpr std::string_view kPlaceholder = "#Command#";
    std::string text = environment_.bundle.localizedString("HotKeyMissing");
    if (const auto at = text.find(kPlaceholder); at != text.npos) {
        text.replace(at, kPlaceholder.size(), environment_.userInterface.hotKeys().commandKey());
    }
    mainController_->setServiceRemark(text);
}

// MARK: State

ServiceState AppDelegate::updateAppState(AppState appState, ServiceState serviceState) {
    const ServiceState state = effectiveState(serviceState);
    barMenu_->enableFor(state, startAttemptDidFail_);
    environment_.userInterface.statusBar().updateItem(statusImage(appState));
    notices_.update(appState != AppState::NotOnline, appState == AppState::Controlled);
    return state;
}

void AppDelegate::tell(ServiceNotices::Notice notice) {
    using Notice = ServiceNotices::Notice;
    const auto show = [this](const char* title, const char* text) {
        const host::Bundle& bundle = environment_.bundle;
        environment_.userInterface.notify(bundle.localizedString(title), bundle.localizedString(text));
    };
    switch (notice) {
    case Notice::SessionBegan:
        return show("NoticeSession", "NoticeSessionBegan");
    case Notice::SessionEnded:
        return show("NoticeSession", "NoticeSessionEnded");
    case Notice::ServiceAway:
        return show("NoticeService", "NoticeServiceAway");
    case Notice::ServiceBack:
        return show("NoticeService", "NoticeServiceBack");
    }
}

ServiceState AppDelegate::effectiveState(ServiceState serviceState) {
    const bool young = environment_.clock.steadyNow() - startupTime_ <= kStartGrace;
    if (serviceState == ServiceState::Offline && young) {
        return ServiceState::Initial;
    }
    if (serviceState == ServiceState::Initial && !young) {
        return ServiceState::Offline;
    }
    if (serviceState == ServiceState::Online) {
        startAttemptDidFail_ = false;
        if (!std::exchange(runningInstancesChecked_, true)) {
            environment_.mainLoop.postAfter(kInstanceCheckDelay, [this] { checkForRunningInstances(); });
        }
    } else if (serviceState == ServiceState::StartFailed) {
        startAttemptDidFail_ = true;
    }
    return serviceState;
}

void AppDelegate::checkForRunningInstances() {
    for (const pid_t process : environment_.runningApplications.instancesOf(bundleIdentifier_)) {
        if (process != getpid()) {
            CNSLog("Another running KvnGUIAgent instance found, sending terminate event");
            environment_.runningApplications.forceTerminate(process);
            endedOtherAgent_ = true;
            environment_.userInterface.message(environment_.bundle.localizedString("OtherAgentEnded"));
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
        notices_.reset();
        mainController_->stop();
        break;
    case host::Workspace::Event::DidWake:
        CNSLog("System did wake up, starting controller");
        startupTime_ = environment_.clock.steadyNow();
        updateAppState(AppState::NotOnline, ServiceState::Initial);
        mainController_->start();
        break;
    case host::Workspace::Event::WillEndSession:
        exitHandler_.terminateAgent();
        break;
    }
}

// MARK: Completions

void AppDelegate::startServiceCompletedWithStatus(std::int32_t status) {
    CNSLog("start service completed: %d", status);
    if (status == kStartFailedStatus) {
        updateAppState(AppState::NotOnline, ServiceState::StartFailed);
    } else {
        startupTime_ = environment_.clock.steadyNow();
        updateAppState(AppState::NotOnline, ServiceState::Initial);
    }
    mainController_->requestServiceStatus();
}

void AppDelegate::stopServiceCompletedWithStatus(std::int32_t status) {
    CNSLog("stop service completed: %d", status);
    if (status == 0) {
        startAttemptDidFail_ = false;
        notices_.reset();
    }
    mainController_->requestServiceStatus();
}

void AppDelegate::restartServiceCompletedWithStatus(std::int32_t) { mainController_->requestServiceStatus(); }

// MARK: Tools

void AppDelegate::verifyKvnRemoteToolsLink() {
    namespace fs = std::filesystem;
    const fs::path applications = Kvs::FSysInfoPaths::underRoot(Kvs::FSysInfoPaths::getHomeFolder().c_str() +
                                                                std::string("Applications"));
    const fs::path link = applications / "KvnRemotedTools";
    const fs::path tools = Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote/tools";
    std::error_code ignored;
    const fs::file_status found = fs::symlink_status(link, ignored);
    if (fs::is_symlink(found)) {
        return;
    }
    if (fs::is_directory(found)) {
        fs::remove_all(link, ignored);
    } else if (std::error_code error;
               !fs::exists(applications, ignored) && !fs::create_directory(applications, error)) {
        OCNSLog("Failed to create user specific Applications folder: %@, error: %@", applications.string(),
                error.message());
    }
    fs::create_symlink(tools, link, ignored);
}

} // namespace kvn
