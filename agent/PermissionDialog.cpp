// SPDX-License-Identifier: MIT

#include "agent/PermissionDialog.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <variant>

namespace kvn {

namespace {

using Kvs::CNSLog;
using Kvs::OCNSLog;
using namespace std::chrono_literals;

constexpr auto kUpdateInterval = 10s;
constexpr auto kPreLoginAnswerPatience = 6s;
constexpr auto kPreLoginCheckInterval = 3s;
constexpr host::ProcessRunner::Limits kScriptLimits{10s, std::size_t{1} << 16};

constexpr host::DialogPlace kPlace{host::DialogPlace::Anchor::TopRight, 100.0, 480.0, 320.0};

constexpr char kPreLoginAgent[] = "/Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app/"
                                  "Contents/MacOS/KvnPreLoginAgent";
constexpr char kSettingsPane[] = "x-apple.systempreferences:com.apple.preference.security?";

// The pre-login agent's answers are observed under the first name, but accepted under the second only.
constexpr char kObservedNotification[] = "com.korvane.remote.PermissionInfo";
constexpr char kAcceptedNotification[] = "com.korvane.remote.Permissions";
constexpr std::int32_t kNoInformation = 4;

/// Reads a number as the system does: 0 for a text that is not a number, the nearest for one that is too
/// large.
std::int32_t intValue(const host::Notification& notification, const char* key) {
    const auto found = notification.userInfo.find(key);
    const long number =
        found == notification.userInfo.end() ? 0 : std::strtol(found->second.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
}

std::string describe(const host::Notification& notification) {
    std::string text = "{";
    for (const auto& [key, value] : notification.userInfo) {
        text.append(text.size() > 1 ? "; " : "").append(key).append(" = ").append(value);
    }
    return text + "}";
}

} // namespace

PermissionDialog::PermissionDialog(const ApplicationEnvironment& environment, host::MainLoop::Task terminate)
    : environment_(environment), window_(environment.userInterface.permissionWindow()),
      terminate_(std::move(terminate)),
      privacyChecks_(environment.privacyPermissions, environment.systemInfo) {
    window_.onClose([this] { windowWillClose(); });
    resetPermissions();
    observer_ = environment_.notifications.observe(
        kObservedNotification, std::nullopt,
        [this](const host::Notification& notification) { handleNotification(notification); });
}

PermissionDialog::~PermissionDialog() { window_.onClose(nullptr); }

// MARK: Checking

void PermissionDialog::checkPermissions() {
    CNSLog("Checking permissions: received all: %d, did check: %d, dialog visible: %d, max popup count: %d",
           haveAllPermissions_, didCheckPermissions_, window_.isVisible(), maxAutoPopupCount_);
    if (preAccessibilityPermission_ != State::Granted || preRecordingPermission_ != State::Granted) {
        verifyPreLoginPermissions();
    }
    verifyGUIPermissions();
    updateControlsForPermissions();
    if (!haveAllPermissions_ && maxAutoPopupCount_ >= 1) {
        if (!window_.isVisible() && didCheckPermissions_) {
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
    preAccessibilityPermission_ = preRecordingPermission_ = State::Unknown;
    guiAccessibilityPermission_ = guiRecordingPermission_ = State::Unknown;
    updateControlsForPermissions();
}

void PermissionDialog::updatePermissions() {
    CNSLog("Updating permissions, PreLogin accessibilty=%d, recordind=%d;  GUI accessibilty=%d, recordind=%d",
           number(preAccessibilityPermission_), number(preRecordingPermission_),
           number(guiAccessibilityPermission_), number(guiRecordingPermission_));
    // The user grants one permission at a time: the first that is missing has the only button.
    haveAllPermissions_ = true;
    for (State* state : {&preAccessibilityPermission_, &preRecordingPermission_, &guiAccessibilityPermission_,
                         &guiRecordingPermission_}) {
        if (*state != State::Granted) {
            *state = std::exchange(haveAllPermissions_, false) ? State::RequestNext : State::Unknown;
        }
    }
    CNSLog("Updated permissions, PreLogin accessibilty=%d, recording=%d;  GUI accessibilty=%d, recording=%d, "
           "have all=%d",
           number(preAccessibilityPermission_), number(preRecordingPermission_),
           number(guiAccessibilityPermission_), number(guiRecordingPermission_), haveAllPermissions_);
}

void PermissionDialog::verifyGUIPermissions() {
    if (privacyChecks_.haveAccessibilityPermission()) {
        guiAccessibilityPermission_ = State::Granted;
    }
    if (privacyChecks_.haveCaptureScreenPermission()) {
        guiRecordingPermission_ = State::Granted;
    }
    CNSLog("Verified GUI permissions, accessibilty=%d, recordind=%d", number(guiAccessibilityPermission_),
           number(guiRecordingPermission_));
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
    environment_.toolQueue.post([&runner = environment_.processRunner, script] {
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
        preAccessibilityPermission_ = State(accessibility);
    }
    if (recording != kNoInformation) {
        preRecordingPermission_ = State(recording);
    }
    updatePermissions();
    updateStatus();
}

// MARK: The window

void PermissionDialog::showPermissions(bool reset) {
    didOpenSystemPreferences_ = false;
    maxAutoPopupCount_ = reset ? kAutoPopups : maxAutoPopupCount_ - 1;
    CNSLog("Show permission dialog: reset count=%d, remaining=%d", reset, maxAutoPopupCount_);
    host::DialogPlace place = kPlace;
    place.takesKeyboard = reset;
    window_.show(environment_.bundle.localizedString("PermissionsPanelTitle"), lines(), place);
    lastPreLoginPermissionCheck_.reset();
    resetPermissions();
    updateStatus();
}

void PermissionDialog::updateControlsForPermissions() {
    updatePermissions();
    window_.update(lines());
}

host::DialogLines PermissionDialog::lines() {
    const auto text = [&](const char* key) { return environment_.bundle.localizedString(key); };
    host::DialogLines lines{
        {"info", text("PermissionsMainInfo")},
        {"beforePreLogin", ""},
        {"preLogin", "KvnPreLoginAgent:"},
        permissionLine("preAccessibility", "AccessibilityStatus", preAccessibilityPermission_,
                       &PermissionDialog::requestPreLoginAccessibilityPermission),
        permissionLine("preRecording", "ScreenRecordingStatus", preRecordingPermission_,
                       &PermissionDialog::requestPreLoginRecordingPermission),
        {"beforeGUI", ""},
        {"gui", "KvnGuiAgent:"},
        permissionLine("guiAccessibility", "AccessibilityStatus", guiAccessibilityPermission_,
                       &PermissionDialog::requestGUIAccessibilityPermission),
        permissionLine("guiRecording", "ScreenRecordingStatus", guiRecordingPermission_,
                       &PermissionDialog::requestGUIRecordingPermission),
        {"beforeSettings", ""},
        {"accessibilitySettings", "",
         host::DialogButton{text("OpenAccessibilitySettings"), [this] { openAccessibilitySettings(); }}},
        {"recordingSettings", "",
         host::DialogButton{text("OpenRecordingSettings"), [this] { openScreenRecordingSettings(); }}},
    };
    if (didOpenSystemPreferences_) {
        lines.push_back({"closing", text("PermissionsClosingEndsAgent")});
    }
    return lines;
}

host::DialogLine PermissionDialog::permissionLine(const char* id, const char* statusKey, State state,
                                                  void (PermissionDialog::*request)()) {
    constexpr std::string_view kPlaceholder = "#State#";
    const host::Bundle& bundle = environment_.bundle;
    const char* stateKey = state == State::NotGranted ? "PermissionNotGranted"
                           : state == State::Granted  ? "PermissionGranted"
                                                      : "PermissionUnknown";
    host::DialogLine line{id, bundle.localizedString(statusKey)};
    if (const auto at = line.text.find(kPlaceholder); at != line.text.npos) {
        line.text.replace(at, kPlaceholder.size(), bundle.localizedString(stateKey));
    }
    if (state != State::Granted && state != State::Unknown) {
        line.control = host::DialogButton{bundle.localizedString("RequestPermission"),
                                          [this, request] { (this->*request)(); }};
    }
    return line;
}

void PermissionDialog::windowWillClose() {
    if (didOpenSystemPreferences_) {
        environment_.userInterface.message(environment_.bundle.localizedString("PermissionsAgentEnds"));
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
    environment_.userInterface.workspace().launchApplication(
        agent, {option}, [](const std::optional<host::Error>& error) {
            if (error) {
                OCNSLog("Failed to launch PreLoginAgent, error: %@", *error);
            }
        });
    startUpdateTimer();
}

void PermissionDialog::requestGUIAccessibilityPermission() {
    if (privacyChecks_.requestAccessibilityPermission()) {
        guiAccessibilityPermission_ = State::Granted;
    }
    startUpdateTimer();
}

void PermissionDialog::requestGUIRecordingPermission() {
    if (privacyChecks_.requestCaptureScreenPermission()) {
        guiRecordingPermission_ = State::Granted;
    }
    startUpdateTimer();
}

void PermissionDialog::openAccessibilitySettings() { openSettings("Privacy_Accessibility"); }

void PermissionDialog::openScreenRecordingSettings() { openSettings("Privacy_ScreenCapture"); }

void PermissionDialog::openSettings(const char* pane) {
    const std::string url = std::string(kSettingsPane) + pane;
    environment_.userInterface.workspace().openUrl(url, [url](const std::optional<host::Error>& error) {
        if (error) {
            OCNSLog("Could not open %@: %@", url, *error);
        }
    });
    didOpenSystemPreferences_ = true;
    window_.update(lines()); // tells that closing it ends the agent from now on
    startUpdateTimer();
}

} // namespace kvn
