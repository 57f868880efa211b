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
    : mainLoop_(*host.mainLoop), terminal_(mainLoop_), workspace_(std::move(host.workspace)) {
    host.privilegedJobs->presentPromptsWith([this](const std::string& prompt) {
        mainLoop_.post([this, prompt] { terminal_.message("Authorization: " + prompt); });
    });
    terminal_.showState(host.bundle->localizedString("StatusPending"), {});
}

void TerminalFrontEnd::start(AppDelegate& application) {
    GUIAgentController& controller = application.mainController();
    controller.setObserver(this);
    using Event = host::Workspace::Event;
    const auto announce = [this](Event event) {
        return workspace_.announce(event) ? kDone : "error: no one listens";
    };
    terminal_.start(
        {
            {"status", [&](auto&) { return terminal_.repeatState(), controller.showServiceStatus(), ""; }},
            {"logs",
             [&](auto&) {
                 application.showLogFiles();
                 return "log files: " + Kvs::FSysInfoPaths::underRoot(AppDelegate::kLogDirectory);
             }},
            {"settings", [&](auto&) { return controller.showPreferences(), ""; }},
            {"permissions", [&](auto&) { return controller.showPermissions(), ""; }},
            {"start", [&](auto&) { return controller.startService(), requested("start"); }},
            {"stop", [&](auto&) { return controller.stopService(), requested("stop"); }},
            {"restart", [&](auto&) { return controller.restartService(), requested("restart"); }},
            {"task", [&](auto& commandLine) { return runTask(controller, commandLine); }},
            {"pause", [&](auto&) { return sent(controller.requestServicePause(), "pause"); }},
            {"continue", [&](auto&) { return sent(controller.requestServiceContinue(), "continue"); }},
            {"reboot", [&](auto&) { return sent(controller.requestSystemReboot(), "reboot"); }},
            {"hide", [&](auto&) { return application.hideStatusItem(), kDone; }},
            {"show", [&](auto&) { return application.showStatusBarItem(), kDone; }},
            {"hotkey", [&](auto&) { return hotKeys_.press() ? kDone : "error: no hot key is registered"; }},
            {"sleep", [=](auto&) { return announce(Event::WillSleep); }},
            {"wake", [=](auto&) { return announce(Event::DidWake); }},
            {"quit", [&](auto&) { return application.terminate(), kDone; }},
        },
        [&application] { application.terminate(); });
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
    host::StateDetails shown;
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
    if (status != 0) {
        outcome = "failed (" + std::to_string(status) + ")" + (details.empty() ? "" : ": " + details);
    }
    terminal_.message(commandName(command) + ": " + outcome);
}

void TerminalFrontEnd::requestFailed(const std::string& text) { terminal_.message("error: " + text); }

} // namespace kvn
