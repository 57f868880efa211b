// SPDX-License-Identifier: MIT

#include "standins/privileged-helper/Helper.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <optional>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

namespace kvn::helper {
namespace {

using std::chrono::seconds;

constexpr host::ProcessRunner::Limits kTaskLimits{seconds(60), 4096};
constexpr timeval kSendPatience{2, 0}; // for a peer that does not read
constexpr int kNoResult = -1;
constexpr int kUnknownCommand = -1;

/// The files of an installed helper, beside its socket.
constexpr const char* kInstalled[] = {
    "/Library/PrivilegedHelperTools/com.korvane.remote.KvnServiceController",
    "/Library/LaunchDaemons/com.korvane.remote.KvnServiceController.plist",
    "/etc/systemd/system/com.korvane.remote.KvnServiceController.service",
    "/etc/systemd/system/multi-user.target.wants/com.korvane.remote.KvnServiceController.service",
};

/// Cuts a text between two characters, so that the message that carries it fits into a frame.
std::string shortened(std::string text) {
    std::size_t length = std::min<std::size_t>(text.size(), 200);
    while (length < text.size() && (text[length] & 0xC0) == 0x80) {
        --length;
    }
    text.resize(length);
    return text;
}

void complete(PHProtocolHandler& handler, const std::string& name, const Outcome& outcome,
              const std::optional<PHMessage>& response = std::nullopt) {
    const auto details =
        outcome.details.empty() ? std::nullopt : std::optional<PHMessage>(shortened(outcome.details));
    handler.sendMessage({{"Event", "CommandCompleted"},
                         {"Cmd", name},
                         {"status", outcome.status},
                         {"Response", response},
                         {"ErrorDetails", details}});
    Kvs::OCNSLog("%@ completed with status %d %@", name, outcome.status, outcome.details);
}

} // namespace

Helper::Helper(host::MainLoop& loop, std::string version)
    : loop_(loop), version_(std::move(version)),
      listener_(Kvs::FSysInfoPaths::underRoot("/var/run/com.korvane.remote.KvnServiceController.socket"),
                0666),
      runner_(loop), watch_(loop_.watchReadable(listener_.descriptor(), [this] { accept(); })) {}

Helper::~Helper() {
    watch_.reset();
    // The socket file is removed before any peer notices the end, so it cannot be that of a successor.
    listener_.remove();
    runner_.endRuns();
    // The readers end first, because they add work to the queue and to the tasks.
    for (Session& session : sessions_) {
        session.handler->closeConnection();
        session.reader.join();
    }
    serviceQueue_.end();
    Kvs::FLockGuard guard(lock_);
    tasks_.clear();
}

void Helper::accept() {
    Kvs::FileDescriptor peer = listener_.accept();
    if (!peer) {
        return;
    }
    PHSetNonBlocking(peer.get(), false);
    ::setsockopt(peer.get(), SOL_SOCKET, SO_SNDTIMEO, &kSendPatience, sizeof kSendPatience);
    sessions_.push_back({std::make_shared<PHProtocolHandler>(std::move(peer), false), {}});
    const auto session = std::prev(sessions_.end());
    session->reader = std::thread([this, session, handler = session->handler] {
        serve(handler);
        loop_.post([this, session] {
            session->reader.join();
            sessions_.erase(session);
        });
    });
}

void Helper::serve(const Handler& handler) {
    while (const auto message = handler->readMessage()) {
        const auto control = stringIn(*message, "Ctrl");
        const auto name = stringIn(*message, "Cmd");
        if (control == "getVersion") {
            handler->sendMessage({{"version", version_}});
        } else if (control == "bye") {
            break; // keeps running: the system would start it again for the next agent
        } else if (name) {
            command(handler, *name, *message);
        } else {
            Kvs::OCNSLog("Message not understood: %@", message->text());
        }
    }
    handler->closeConnection();
}

void Helper::command(const Handler& handler, const std::string& name, const PHMessage& message) {
    Kvs::OCNSLog("Command %@", name);
    if (name == "StartService") {
        service(handler, name, [this] { return startService(runner_); });
    } else if (name == "StopService") {
        service(handler, name, stopService);
    } else if (name == "RestartService") {
        service(handler, name, [this] {
            const Outcome stopped = stopService();
            return stopped.status == 0 ? startService(runner_) : stopped;
        });
    } else if (name == "ExecuteTask") {
        execute(handler, message);
    } else if (name == "UninstallInstallerAgent") {
        uninstall(handler);
    } else {
        complete(*handler, shortened(name), {kUnknownCommand, "unknown command"});
    }
}

void Helper::service(const Handler& handler, const std::string& name, std::function<Outcome()> perform) {
    serviceQueue_.post(
        [handler, name, perform = std::move(perform)] { complete(*handler, name, perform()); });
}

void Helper::execute(const Handler& handler, const PHMessage& message) {
    const auto requestId = message.valueIn("requestId").asIdentifier();
    const auto response = [requestId](int result) {
        return PHMessage{{"requestId", requestId}, {"result", result}};
    };
    const auto path = stringIn(message, "task");
    const PHMessage args = message.valueIn("args");
    const auto arguments = args.isNull() ? std::optional(std::vector<std::string>()) : args.asStrings();
    if (!path || !path->starts_with('/') || !arguments) {
        complete(*handler, "ExecuteTask",
                 {EINVAL, "\"task\" must be an absolute path, \"args\" an array of strings"},
                 response(kNoResult));
        return;
    }
    Kvs::FLockGuard guard(lock_);
    std::erase_if(tasks_, [](auto& task) { return task.wait_for(seconds(0)) == std::future_status::ready; });
    tasks_.push_back(
        std::async(std::launch::async, [this, handler, path = *path, arguments = *arguments, response] {
            const auto result = runner_.run(path, arguments, kTaskLimits);
            if (const auto* error = std::get_if<host::Error>(&result)) {
                complete(*handler, "ExecuteTask", {error->code, error->reason}, response(kNoResult));
            } else {
                complete(*handler, "ExecuteTask", {},
                         response(std::get<host::ProcessRunner::Outcome>(result).exitStatus));
            }
        }));
}

// The files are removed first, because the answer reports the result.
void Helper::uninstall(const Handler& handler) {
    Outcome outcome;
    for (const char* path : kInstalled) {
        const std::string file = Kvs::FSysInfoPaths::underRoot(path);
        if (::unlink(file.c_str()) != 0 && errno != ENOENT) {
            outcome = {errno, std::system_error(errno, std::generic_category(), file).what()};
        }
    }
    loop_.post([this, handler, outcome] {
        listener_.remove();
        complete(*handler, "UninstallInstallerAgent", outcome);
        loop_.quit();
    });
}

} // namespace kvn::helper
