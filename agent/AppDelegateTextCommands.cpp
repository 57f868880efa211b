// SPDX-License-Identifier: MIT

#include "agent/AppDelegate.h"
#include "core/system/FSysInfoPaths.h"

#include <functional>
#include <sstream>
#include <vector>

// The commands that a front end can offer as text. Each does what a menu item does, or asks the service or
// the privileged helper for something that no menu has.

namespace kvn {

namespace {

const std::string kDone = "ok";

std::string requested(const char* what) { return std::string("ok: ") + what + " requested"; }

std::string sent(bool reached, const char* what) {
    return reached ? requested(what) : "error: the service cannot be reached";
}

/// Asks the service for a pause, or for its end, if the policy lets the user do that.
std::string askForPause(const RemoteServiceSettings& settings, const char* what,
                        const std::function<bool()>& request) {
    return settings.pauseServiceAllowed() ? sent(request(), what)
                                          : std::string("error: ") + what + " is not allowed by the policy";
}

std::string runTask(GUIAgentController& controller, host::UserInterface& userInterface,
                    const std::string& commandLine) {
    std::istringstream words(commandLine);
    std::string task;
    words >> task;
    if (task.empty()) {
        return "error: task needs a program";
    }
    std::vector<std::string> arguments;
    for (std::string argument; words >> argument;) {
        arguments.push_back(argument);
    }
    controller.executeTask(task, arguments, [&userInterface](const PHMessage* result) {
        userInterface.message("task: " + (result ? "result " + result->text() : "no result"));
    });
    return requested("task");
}

host::Commands serviceCommands(GUIAgentController& controller, host::UserInterface& userInterface,
                               const RemoteServiceSettings& settings) {
    return {
        {"start",
         {"starts the service", [&](auto&) { return controller.startService(), requested("start"); }}},
        {"stop", {"stops the service", [&](auto&) { return controller.stopService(), requested("stop"); }}},
        {"restart",
         {"restarts the service", [&](auto&) { return controller.restartService(), requested("restart"); }}},
        {"task",
         {"PROGRAM ARGUMENT...: has the helper run a program",
          [&](auto& commandLine) { return runTask(controller, userInterface, commandLine); }}},
        {"pause",
         {"pauses the service, where the policy allows it",
          [&](auto&) { return askForPause(settings, "pause", [&] { return controller.pauseService(); }); }}},
        {"continue",
         {"ends the pause",
          [&](auto&) {
              return askForPause(settings, "continue", [&] { return controller.continueService(); });
          }}},
        {"reboot",
         {"has the service reboot the system",
          [&](auto&) { return sent(controller.requestSystemReboot(), "reboot"); }}},
    };
}

} // namespace

host::Commands AppDelegate::commands() {
    GUIAgentController& controller = *mainController_;
    host::UserInterface& userInterface = environment_.userInterface;
    host::Commands commands{
        {"status",
         {"shows the service's status",
          [&](auto&) { return userInterface.repeatState(), controller.showServiceStatus(), ""; }}},
        {"logs",
         {"opens the folder of the log files",
          [this](auto&) {
              showLogFiles();
              return "log files: " + logFolder();
          }}},
        {"settings", {"shows the settings", [&](auto&) { return controller.showPreferences(), ""; }}},
        {"hide", {"hides the status item", [this](auto&) { return hideStatusItem(), kDone; }}},
        {"show", {"shows the status item", [this](auto&) { return showStatusBarItem(), kDone; }}},
        {"quit", {"ends the agent", [this](auto&) { return terminate(), kDone; }}},
    };
    if (controller.checksPermissions()) {
        commands["permissions"] = {"shows the permissions",
                                   [&](auto&) { return controller.showPermissions(), ""; }};
    }
    commands.merge(serviceCommands(controller, userInterface, environment_.settings));
    return commands;
}

} // namespace kvn
