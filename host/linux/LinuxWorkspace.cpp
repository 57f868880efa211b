// SPDX-License-Identifier: MIT

#include "host/linux/LinuxWorkspace.h"

#include "core/logging/CNSLog.h"
#include "host/linux/LogindSleep.h"
#include "host/linux/SessionEnd.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kOpener = "xdg-open";

struct Observer {
    std::function<void(Workspace::Event)> handler;
    std::shared_ptr<LogindSleep> sleep;
    std::shared_ptr<SessionEnd> sessionEnd;
};

/// Removes the variable from the environment, which launched programs inherit.
std::string takeVariable(const char* name) {
    const char* const value = std::getenv(name);
    std::string taken = value ? value : "";
    unsetenv(name);
    return taken;
}

std::optional<std::string> findInPath(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        const auto program = std::filesystem::path(folder) / name;
        if (program.is_absolute() && ::access(program.c_str(), X_OK) == 0) {
            return program.string();
        }
    }
    return std::nullopt;
}

} // namespace

LinuxWorkspace::LinuxWorkspace(MainLoop& mainLoop, ProcessRunner& processRunner,
                               std::shared_ptr<BusConnection> sessionBus,
                               std::shared_ptr<BusConnection> systemBus)
    : mainLoop_(mainLoop), processRunner_(processRunner), sessionBus_(std::move(sessionBus)),
      systemBus_(std::move(systemBus)), startupId_(takeVariable("DESKTOP_AUTOSTART_ID")) {}

MainLoop::Handle LinuxWorkspace::observe(std::function<void(Event)> handler) {
    auto observer = std::make_shared<Observer>(Observer{std::move(handler), nullptr, nullptr});
    observer->sleep = LogindSleep::start(
        mainLoop_, systemBus_, [weak = std::weak_ptr<Observer>(observer)](bool goesToSleep) {
            const auto locked = weak.lock(); // kept alive if its handler ends the registration
            if (!locked) {
                return;
            }
            locked->handler(goesToSleep ? Event::WillSleep : Event::DidWake);
            if (goesToSleep) {
                locked->sleep->letSleep();
            }
        });
    observer->sessionEnd = SessionEnd::start(mainLoop_, sessionBus_, systemBus_, startupId_,
                                             [weak = std::weak_ptr<Observer>(observer)] {
                                                 if (const auto locked = weak.lock()) {
                                                     locked->handler(Event::WillEndSession);
                                                 }
                                             });
    return keepAlive(std::move(observer));
}

void LinuxWorkspace::openUrl(const std::string& url, Completion completion) {
    open(url, std::move(completion));
}

void LinuxWorkspace::openFolder(const std::string& path, Completion completion) {
    open(path, std::move(completion));
}

void LinuxWorkspace::launchApplication(const std::string& executable,
                                       const std::vector<std::string>& arguments, Completion completion) {
    const auto result = processRunner_.launch(executable, arguments, ProcessRunner::Output::None);
    const auto* error = std::get_if<Error>(&result);
    complete(std::move(completion), error ? std::optional(*error) : std::nullopt);
}

void LinuxWorkspace::open(const std::string& target, Completion completion) {
    if (const auto opener = findInPath(kOpener)) {
        return launchApplication(*opener, {target}, std::move(completion));
    }
    Error error = posixError(ENOENT, kOpener);
    if (!std::exchange(missingOpenerLogged_, true)) {
        Kvs::OCNSLog("Links and folders cannot be opened: %@", error.reason);
    }
    complete(std::move(completion), std::move(error));
}

void LinuxWorkspace::complete(Completion completion, std::optional<Error> error) {
    mainLoop_.post([completion = std::move(completion), error = std::move(error)] { completion(error); });
}

} // namespace kvn::host
