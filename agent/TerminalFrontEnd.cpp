#include "agent/TerminalFrontEnd.h"

#include "core/system/FSysInfoPaths.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>
#include <vector>

namespace kvn {

namespace {

const std::string kDone = "ok";

std::string requested(const char* what) { return std::string("ok: ") + what + " requested"; }

std::string sent(bool reached, const char* what) {
    return reached ? requested(what) : "error: the service cannot be reached";
}

/// The command as the person gave it.
std::string commandName(const std::string& command) {
    static const std::map<std::string, std::string> names{{"StartService", "start"},
                                                          {"StopService", "stop"},
                                                          {"RestartService", "restart"},
                                                          {"ExecuteTask", "task"}};
    const auto found = names.find(command);
    return found == names.end() ? command : found->second;
}

} // namespace

TerminalFrontEnd::TerminalFrontEnd(host::Host& host)
    : mainLoop_(*host.mainLoop), terminal_(mainLoop_), workspace_(*host.workspace) {
    host.privilegedJobs->presentPromptsWith([this](const std::string& prompt) {
        mainLoop_.post([this, prompt] { terminal_.message("Authorization: " + prompt); });
    });
    terminal_.showState(host.bundle->localizedString("StatusPending"), {});
}

TerminalFrontEnd::~TerminalFrontEnd() { terminal_.message("The agent ends."); }

void TerminalFrontEnd::start(AppDelegate& application) {
    application.mainController().setObserver(this);
    host::Terminal::Commands commands = applicationCommands(application);
    commands.merge(serviceCommands(application.mainController()));
    terminal_.start(std::move(commands), [&application] { application.terminate(); });
}

host::Terminal::Commands TerminalFrontEnd::applicationCommands(AppDelegate& application) {
    GUIAgentController& controller = application.mainController();
    using Event = host::Workspace::Event;
    const auto announce = [this](Event event) {
        return workspace_.announce(event) ? kDone : "error: no one listens";
    };
    return {
        {"status",
         {"shows the service's status",
          [&](auto&) { return terminal_.repeatState(), controller.showServiceStatus(), ""; }}},
        {"logs",
         {"opens the folder of the log files",
          [&](auto&) {
              application.showLogFiles();
              return "log files: " + Kvs::FSysInfoPaths::underRoot(AppDelegate::kLogDirectory);
          }}},
        {"settings", {"shows the settings", [&](auto&) { return controller.showPreferences(), ""; }}},
        {"permissions", {"shows the permissions", [&](auto&) { return controller.showPermissions(), ""; }}},
        {"hide", {"hides the status item", [&](auto&) { return application.hideStatusItem(), kDone; }}},
        {"show", {"shows the status item", [&](auto&) { return application.showStatusBarItem(), kDone; }}},
        {"hotkey",
         {"presses the hot key, which shows the status item",
          [&](auto&) { return hotKeys_.press() ? kDone : "error: no hot key is registered"; }}},
        {"sleep", {"acts as if the system went to sleep", [=](auto&) { return announce(Event::WillSleep); }}},
        {"wake", {"acts as if the system woke up", [=](auto&) { return announce(Event::DidWake); }}},
        {"quit", {"ends the agent", [&](auto&) { return application.terminate(), kDone; }}},
    };
}

host::Terminal::Commands TerminalFrontEnd::serviceCommands(GUIAgentController& controller) {
    return {
        {"start",
         {"starts the service", [&](auto&) { return controller.startService(), requested("start"); }}},
        {"stop", {"stops the service", [&](auto&) { return controller.stopService(), requested("stop"); }}},
        {"restart",
         {"restarts the service", [&](auto&) { return controller.restartService(), requested("restart"); }}},
        {"task",
         {"PROGRAM ARGUMENT...: has the privileged helper run a program",
          [&](auto& commandLine) { return runTask(controller, commandLine); }}},
        {"pause", {"pauses the service", [&](auto&) { return sent(controller.pauseService(), "pause"); }}},
        {"continue",
         {"ends the pause", [&](auto&) { return sent(controller.continueService(), "continue"); }}},
        {"reboot",
         {"has the service reboot the system",
          [&](auto&) { return sent(controller.requestSystemReboot(), "reboot"); }}},
    };
}

std::string TerminalFrontEnd::runTask(GUIAgentController& controller, const std::string& commandLine) {
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
    controller.executeTask(task, arguments, [this](const PHMessage* result) {
        terminal_.message("task: " + (result ? "result " + result->dump() : "no result"));
    });
    return requested("task");
}

void TerminalFrontEnd::statusShown(const std::string& text, const OFRServiceInfo* details) {
    host::Terminal::StateDetails shown;
    if (details) {
        shown = {{"server", details->server},
                 {"registration", details->registration},
                 {"version", details->version},
                 {"last error", details->lastError},
                 {"proxies", details->proxyInfos.empty() ? "" : std::to_string(details->proxyInfos.size())},
                 {"session", details->subProcessRunning ? "running" : ""}};
    }
    terminal_.showState(text, std::move(shown));
}

void TerminalFrontEnd::commandCompleted(const std::string& command, std::int32_t status,
                                        const std::string& details) {
    std::string outcome = "completed";
    if (status == 0 && command == "ExecuteTask") {
        return; // the task's result is told
    }
    if (status != 0) {
        outcome = "failed (" + std::to_string(status) + ")" + (details.empty() ? "" : ": " + details);
    }
    terminal_.message(commandName(command) + ": " + outcome);
}

void TerminalFrontEnd::requestFailed(const std::string& text) { terminal_.message("error: " + text); }

} // namespace kvn
