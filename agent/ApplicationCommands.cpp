#include "agent/ApplicationCommands.h"

#include "core/system/FSysInfoPaths.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

namespace kvn {

namespace {

const std::string kDone = "ok";

std::string requested(const char* what) { return std::string("ok: ") + what + " requested"; }

std::string sent(bool reached, const char* what) {
    return reached ? requested(what) : "error: the service cannot be reached";
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
        userInterface.message("task: " + (result ? "result " + result->dump() : "no result"));
    });
    return requested("task");
}

host::Commands windowCommands(AppDelegate& application, host::UserInterface& userInterface) {
    GUIAgentController& controller = application.mainController();
    host::Commands commands{
        {"status",
         {"shows the service's status",
          [&](auto&) { return userInterface.repeatState(), controller.showServiceStatus(), ""; }}},
        {"logs",
         {"opens the folder of the log files",
          [&](auto&) {
              application.showLogFiles();
              return "log files: " + Kvs::FSysInfoPaths::underRoot(AppDelegate::kLogDirectory);
          }}},
        {"settings", {"shows the settings", [&](auto&) { return controller.showPreferences(), ""; }}},
        {"hide", {"hides the status item", [&](auto&) { return application.hideStatusItem(), kDone; }}},
        {"show", {"shows the status item", [&](auto&) { return application.showStatusBarItem(), kDone; }}},
        {"quit", {"ends the agent", [&](auto&) { return application.terminate(), kDone; }}},
    };
    if (controller.checksPermissions()) {
        commands["permissions"] = {"shows the permissions",
                                   [&](auto&) { return controller.showPermissions(), ""; }};
    }
    return commands;
}

host::Commands serviceCommands(GUIAgentController& controller, host::UserInterface& userInterface) {
    return {
        {"start",
         {"starts the service", [&](auto&) { return controller.startService(), requested("start"); }}},
        {"stop", {"stops the service", [&](auto&) { return controller.stopService(), requested("stop"); }}},
        {"restart",
         {"restarts the service", [&](auto&) { return controller.restartService(), requested("restart"); }}},
        {"task",
         {"PROGRAM ARGUMENT...: has the privileged helper run a program",
          [&](auto& commandLine) { return runTask(controller, userInterface, commandLine); }}},
        {"pause", {"pauses the service", [&](auto&) { return sent(controller.pauseService(), "pause"); }}},
        {"continue",
         {"ends the pause", [&](auto&) { return sent(controller.continueService(), "continue"); }}},
        {"reboot",
         {"has the service reboot the system",
          [&](auto&) { return sent(controller.requestSystemReboot(), "reboot"); }}},
    };
}

} // namespace

host::Commands applicationCommands(AppDelegate& application, host::UserInterface& userInterface) {
    host::Commands commands = windowCommands(application, userInterface);
    commands.merge(serviceCommands(application.mainController(), userInterface));
    return commands;
}

} // namespace kvn
