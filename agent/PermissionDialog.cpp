#include "agent/PermissionDialog.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

constexpr std::int32_t kAutoPopups = 2;
constexpr auto kUpdateInterval = 10s;
constexpr auto kPreLoginAnswerPatience = 6s;
constexpr auto kPreLoginCheckInterval = 3s;
constexpr host::ProcessRunner::Limits kScriptLimits{10s, std::size_t{1} << 16};

constexpr double kWidth = 480.0;
constexpr double kHeight = 320.0;
constexpr double kScreenMargin = 100.0;

constexpr char kPreLoginAgent[] = "/Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app/"
                                  "Contents/MacOS/KvnPreLoginAgent";
constexpr char kSettingsPane[] = "x-apple.systempreferences:com.apple.preference.security?";

// The pre-login agent's answers are observed under the one name, and accepted under the other.
constexpr char kObservedNotification[] = "com.korvane.remote.PermissionInfo";
constexpr char kAcceptedNotification[] = "com.korvane.remote.Permissions";
constexpr std::int32_t kNoInformation = 4;

/// As the system reads numbers: 0 for what is none, and the nearest for what is too large.
std::int32_t intValue(const host::Notification& notification, const char* key) {
    const auto found = notification.userInfo.find(key);
    const long number =
        found == notification.userInfo.end() ? 0 : std::strtol(found->second.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
}

std::string describe(const host::Notification& notification) {
    std::string text = "{";
    for (const auto& [key, value] : notification.userInfo) {
        text += (text.size() > 1 ? "; " : "") + key + " = " + value;
    }
    return text + "}";
}

} // namespace

PermissionDialog::PermissionDialog(const Environment& environment, std::function<void()> terminate)
    : environment_(environment), terminate_(std::move(terminate)), maxAutoPopupCount_(kAutoPopups) {
    environment_.window.onClose([this] { windowWillClose(); });
}

PermissionDialog::~PermissionDialog() { environment_.window.onClose(nullptr); }

void PermissionDialog::begin() {
    didCheckPermissions_ = false;
    maxAutoPopupCount_ = kAutoPopups;
    resetPermissions();
    observer_ = environment_.notifications.observe(
        kObservedNotification, std::nullopt,
        [this](const host::Notification& notification) { handleNotification(notification); });
}

// MARK: Checking

void PermissionDialog::checkPermissions() {
    CNSLog("Checking permissions: received all: %d, did check: %d, dialog visible: %d, max popup count: %d",
           haveAllPermissions_, didCheckPermissions_, environment_.window.isVisible(), maxAutoPopupCount_);
    if (preAccessibilityPermission_ != kGranted || preRecordingPermission_ != kGranted) {
        verifyPreLoginPermissions();
    }
    verifyGUIPermissions();
    updateControlsForPermissions();
    if (!haveAllPermissions_ && maxAutoPopupCount_ >= 1) {
        if (!environment_.window.isVisible() && didCheckPermissions_) {
            showPermissions(false);
        } else {
            startUpdateTimer();
        }
    }
    didCheckPermissions_ = true;
}

void PermissionDialog::updateStatus() {
    CNSLog("Updating status, have all permissions: %s", haveAllPermissions_ ? "true" : "false");
    if (haveAllPermissions_) {
        updateControlsForPermissions();
    } else {
        checkPermissions();
    }
}

void PermissionDialog::resetPermissions() {
    preAccessibilityPermission_ = preRecordingPermission_ = kUnknown;
    guiAccessibilityPermission_ = guiRecordingPermission_ = kUnknown;
    updateControlsForPermissions();
}

void PermissionDialog::updatePermissions() {
    CNSLog("Updating permissions, PreLogin accessibilty=%d, recordind=%d;  GUI accessibilty=%d, recordind=%d",
           preAccessibilityPermission_, preRecordingPermission_, guiAccessibilityPermission_,
           guiRecordingPermission_);
    // The user grants one permission at a time: the first that is missing has the only button.
    haveAllPermissions_ = true;
    for (std::int32_t* state : {&preAccessibilityPermission_, &preRecordingPermission_,
                                &guiAccessibilityPermission_, &guiRecordingPermission_}) {
        if (*state != kGranted) {
            *state = std::exchange(haveAllPermissions_, false) ? kRequestNext : kUnknown;
        }
    }
    CNSLog("Updated permissions, PreLogin accessibilty=%d, recording=%d;  GUI accessibilty=%d, recording=%d, "
           "have all=%d",
           preAccessibilityPermission_, preRecordingPermission_, guiAccessibilityPermission_,
           guiRecordingPermission_, haveAllPermissions_);
}

void PermissionDialog::verifyGUIPermissions() {
    if (environment_.privacyChecks.haveAccessibilityPermission()) {
        guiAccessibilityPermission_ = kGranted;
    }
    if (environment_.privacyChecks.haveCaptureScreenPermission()) {
        guiRecordingPermission_ = kGranted;
    }
    CNSLog("Verified GUI permissions, accessibilty=%d, recordind=%d", guiAccessibilityPermission_,
           guiRecordingPermission_);
}

void PermissionDialog::verifyPreLoginPermissions() {
    const auto now = environment_.clock.steadyNow();
    if (lastPreLoginPermissionCheck_) {
        const auto elapsed = now - *lastPreLoginPermissionCheck_;
        if (elapsed > kPreLoginAnswerPatience) {
            CNSLog("verifyPreLoginPermissions: received no answer for previous request");
        } else if (elapsed < kPreLoginCheckInterval) {
            return;
        }
    }
    lastPreLoginPermissionCheck_ = now;
    const std::string script =
        environment_.bundle.resourcePath("verifyPermissions", "sh").value_or("verifyPermissions.sh");
    environment_.workQueue.post([&runner = environment_.processRunner, script] {
        const auto result = runner.run(script, {}, kScriptLimits);
        const auto* outcome = std::get_if<host::ProcessRunner::Outcome>(&result);
        const std::string errors = outcome ? outcome->errors : std::get<host::Error>(result).description();
        if (errors.empty()) {
            CNSLog("verifyPreLoginPermissions task successfully completed.");
        } else {
            OCNSLog("verifyPreLoginPermissions failed with error: %@", errors);
        }
    });
}

void PermissionDialog::startUpdateTimer() {
    updateTimer_ = environment_.mainLoop.startTimer(kUpdateInterval, [this] {
        const auto once = std::move(updateTimer_);
        updateStatus();
    });
}

void PermissionDialog::handleNotification(const host::Notification& notification) {
    if (notification.name != kAcceptedNotification) {
        OCNSLog("Ignoring notification: %@ with info: %@", notification.name, describe(notification));
        return;
    }
    const std::int32_t accessibility = intValue(notification, "accessibility");
    const std::int32_t recording = intValue(notification, "recording");
    OCNSLog("Received permission: %@, accessibility=%d, recording=%d", notification.name, accessibility,
            recording);
    if (accessibility != kNoInformation) {
        preAccessibilityPermission_ = accessibility;
    }
    if (recording != kNoInformation) {
        preRecordingPermission_ = recording;
    }
    updatePermissions();
    updateStatus();
}

// MARK: The window

void PermissionDialog::showPermissions(bool reset) {
    const host::Rect screen = environment_.window.visibleScreen();
    const host::Rect place{screen.width - kWidth - kScreenMargin, screen.height - kScreenMargin - kHeight,
                           kWidth, kHeight};
    didOpenSystemPreferences_ = false;
    maxAutoPopupCount_ = reset ? kAutoPopups : maxAutoPopupCount_ - 1;
    CNSLog("Show permission dialog: reset count=%d, remaining=%d", reset, maxAutoPopupCount_);
    environment_.window.show(environment_.bundle.localizedString("PermissionsPanelTitle"), rows(), place);
    lastPreLoginPermissionCheck_.reset();
    resetPermissions();
    updateStatus();
}

void PermissionDialog::updateControlsForPermissions() {
    updatePermissions();
    environment_.window.update(rows());
}

host::DialogRows PermissionDialog::rows() {
    const host::Bundle& bundle = environment_.bundle;
    host::DialogRows rows{host::DialogText{bundle.localizedString("PermissionsMainInfo")}};
    rows.emplace_back(host::DialogText{});
    rows.emplace_back(host::DialogText{"KvnPreLoginAgent:"});
    addPermission(rows, "AccessibilityStatus", preAccessibilityPermission_,
                  &PermissionDialog::requestPreLoginAccessibilityPermission);
    addPermission(rows, "ScreenRecordingStatus", preRecordingPermission_,
                  &PermissionDialog::requestPreLoginRecordingPermission);
    rows.emplace_back(host::DialogText{});
    rows.emplace_back(host::DialogText{"KvnGuiAgent:"});
    addPermission(rows, "AccessibilityStatus", guiAccessibilityPermission_,
                  &PermissionDialog::requestGUIAccessibilityPermission);
    addPermission(rows, "ScreenRecordingStatus", guiRecordingPermission_,
                  &PermissionDialog::requestGUIRecordingPermission);
    rows.emplace_back(host::DialogText{});
    rows.emplace_back(host::DialogButton{bundle.localizedString("OpenAccessibilitySettings"),
                                         [this] { openAccessibilitySettings(); }});
    rows.emplace_back(host::DialogButton{bundle.localizedString("OpenRecordingSettings"),
                                         [this] { openScreenRecordingSettings(); }});
    return rows;
}

void PermissionDialog::addPermission(host::DialogRows& rows, const char* statusKey, std::int32_t state,
                                     void (PermissionDialog::*request)()) {
    constexpr std::string_view kPlaceholder = "#State#";
    const host::Bundle& bundle = environment_.bundle;
    const char* stateKey = state == kNotGranted ? "PermissionNotGranted"
                           : state == kGranted  ? "PermissionGranted"
                                                : "PermissionUnknown";
    std::string status = bundle.localizedString(statusKey);
    if (const auto at = status.find(kPlaceholder); at != status.npos) {
        status.replace(at, kPlaceholder.size(), bundle.localizedString(stateKey));
    }
    rows.emplace_back(host::DialogText{status});
    const bool buttonHidden = (state | 2) == 3; // granted, or unknown and not the next
    if (!buttonHidden) {
        rows.emplace_back(host::DialogButton{bundle.localizedString("RequestPermission"),
                                             [this, request] { (this->*request)(); }});
    }
}

void PermissionDialog::windowWillClose() {
    if (didOpenSystemPreferences_) {
        environment_.mainLoop.post([this] {
            CNSLog("Terminating Agent after permissions might have changed in System Preferences dialog.");
            terminate_();
        });
    }
}

// MARK: Requests

void PermissionDialog::requestPreLoginAccessibilityPermission() {
    requestPreLoginPermission("-requestAccessibilityPermission");
}

void PermissionDialog::requestPreLoginRecordingPermission() {
    requestPreLoginPermission("-requestRecordingPermission");
}

void PermissionDialog::requestPreLoginPermission(const char* option) {
    const std::string agent = Kvs::FSysInfoPaths::underRoot(kPreLoginAgent);
    environment_.workspace.launchApplication(agent, {option}, [](const std::optional<host::Error>& error) {
        if (error) {
            OCNSLog("Failed to launch PreLoginAgent, error: %@", *error);
        }
    });
    startUpdateTimer();
}

void PermissionDialog::requestGUIAccessibilityPermission() {
    if (environment_.privacyChecks.requestAccessibilityPermission()) {
        guiAccessibilityPermission_ = kGranted;
    }
    startUpdateTimer();
}

void PermissionDialog::requestGUIRecordingPermission() {
    if (environment_.privacyChecks.requestCaptureScreenPermission()) {
        guiRecordingPermission_ = kGranted;
    }
    startUpdateTimer();
}

void PermissionDialog::openAccessibilitySettings() { openSettings("Privacy_Accessibility"); }

void PermissionDialog::openScreenRecordingSettings() { openSettings("Privacy_ScreenCapture"); }

void PermissionDialog::openSettings(const char* pane) {
    const std::string url = std::string(kSettingsPane) + pane;
    environment_.workspace.openUrl(url, [url](const std::optional<host::Error>& error) {
        if (error) {
            OCNSLog("Could not open %@: %@", url, *error);
        }
    });
    didOpenSystemPreferences_ = true;
    startUpdateTimer();
}

} // namespace kvn
