#include "standins/privileged-helper/Helper.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "standins/privileged-helper/Completion.h"

#include <cerrno>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::helper {
namespace {

constexpr std::size_t kMostSessions = 32;
constexpr std::size_t kMostTasks = 16;
constexpr int kNoResult = -1;
constexpr int kUnknownCommand = -1;

/// What the installation of this helper consists of, beside its socket.
constexpr const char* kInstalled[] = {
    "/Library/PrivilegedHelperTools/com.korvane.remote.KvnServiceController",
    "/Library/LaunchDaemons/com.korvane.remote.KvnServiceController.plist",
};

/// The response to a task.
PHMessage responseOf(int result, const std::optional<std::uint64_t>& requestId) {
    return {{"result", result}, {"requestId", requestId}};
}

} // namespace

Helper::Helper(host::MainLoop& loop, const Options& options, std::string version, Listener& listener)
    : loop_(loop), options_(options), version_(std::move(version)), listener_(listener),
      service_(loop, options.service),
      watch_(loop.watchReadable(listener.descriptor(), [this] { accept(); })) {}

void Helper::accept() {
    Kvs::FileDescriptor peer = listener_.accept();
    if (!peer || options_.refuse) {
        return;
    }
    if (sessions_.size() == kMostSessions) {
        Kvs::CNSLog("Too many sessions");
        return;
    }
    const Id id = ++lastId_;
    Kvs::CNSLog("Session %d begins", id);
    sessions_[id] = std::make_unique<Session>(
        loop_, std::move(peer), [this, id](const PHMessage& message) { received(id, message); },
        [this, id] { close(id); });
}

void Helper::received(Id session, const PHMessage& message) {
    if (!sessions_.contains(session)) {
        return;
    }
    if (const auto word = stringIn(message, "Ctrl")) {
        control(session, *word);
    } else if (const auto name = stringIn(message, "Cmd")) {
        command(session, *name, message);
    } else {
        Kvs::OCNSLog("Message not understood: %@", message.text());
    }
    if (const auto found = sessions_.find(session); found != sessions_.end()) {
        found->second->readOn();
    }
}

void Helper::control(Id session, const std::string& word) {
    if (word == "getVersion") {
        send(session, {{"version", version_}}, options_.handshake);
    } else if (word == "bye") {
        saidBye_ = true;
        close(session);
    } else {
        Kvs::OCNSLog("Control word not understood: %@", word);
    }
}

void Helper::command(Id session, const std::string& name, const PHMessage& message) {
    Kvs::OCNSLog("Session %d commands %@", session, name);
    const auto done = [this, session, name](const Outcome& outcome) { complete(session, name, outcome); };
    if (const auto told = options_.statusOf.find(name); told != options_.statusOf.end()) {
        done(told->second);
    } else if (name == "StartService") {
        service_.start(done);
    } else if (name == "StopService") {
        service_.stop(done);
    } else if (name == "RestartService") {
        service_.restart(done);
    } else if (name == "ExecuteTask") {
        execute(session, message);
    } else if (name == "UninstallInstallerAgent") {
        uninstall(session);
    } else {
        done({kUnknownCommand, "unknown command"});
    }
}

void Helper::execute(Id session, const PHMessage& message) {
    const Id id = ++lastId_;
    const auto requestId = message.valueIn("requestId").asIdentifier();
    const auto refuse = [&](int status, const std::string& details) {
        complete(session, "ExecuteTask", {status, details}, responseOf(kNoResult, requestId));
    };
    const auto path = stringIn(message, "task");
    const PHMessage args = message.valueIn("args");
    const auto arguments = args.isNull() ? std::optional(std::vector<std::string>()) : args.asStrings();
    if (!path || !path->starts_with('/') || !arguments) {
        refuse(EINVAL, "\"task\" must be an absolute path, \"args\" an array of strings");
        return;
    }
    if (tasks_.size() == kMostTasks) {
        refuse(EAGAIN, "too many tasks are running");
        return;
    }
    auto task = std::make_unique<Task>();
    try {
        task->child.emplace(loop_, *path, *arguments, [this, session, id, requestId](int status) {
            taskEnded(session, id, requestId, status);
        });
    } catch (const std::system_error& error) {
        refuse(error.code().value(), error.what());
        return;
    }
    task->alarm = loop_.startTimer(options_.taskLimit, [task = task.get()] {
        task->late = true;
        task->child->kill();
        task->alarm.reset();
    });
    tasks_[id] = std::move(task);
}

void Helper::taskEnded(Id session, Id task, const std::optional<std::uint64_t>& requestId, int status) {
    int result = status;
    Outcome outcome;
    if (tasks_.at(task)->late) {
        outcome = {ETIMEDOUT, "the task took too long and was killed"};
        result = kNoResult;
    }
    tasks_.at(task)->child.reset(); // reaped: its number may be somebody else's
    tasks_.erase(task);
    complete(session, "ExecuteTask", outcome, responseOf(result, requestId));
}

// The files go first: the answer tells what became of them.
void Helper::uninstall(Id session) {
    Outcome outcome;
    for (const char* path : kInstalled) {
        const std::string file = Kvs::FSysInfoPaths::underRoot(path);
        if (::unlink(file.c_str()) != 0 && errno != ENOENT) {
            outcome.status = errno;
            outcome.details = std::system_error(errno, std::generic_category(), file).what();
        }
    }
    listener_.remove();
    complete(session, "UninstallInstallerAgent", outcome);
    loop_.quit();
}

void Helper::complete(Id session, const std::string& name, const Outcome& outcome,
                      const std::optional<PHMessage>& response) {
    Kvs::OCNSLog("Session %d: %@ completed with status %d %@", session, name, outcome.status,
                 outcome.details);
    send(session, completionEvent(name, outcome, response), options_.completion);
    endIfUnused();
}

void Helper::send(Id session, const PHMessage& message, Fault fault) {
    if (const auto found = sessions_.find(session); found != sessions_.end()) {
        found->second->send(message, fault);
    }
}

void Helper::close(Id session) {
    if (sessions_.erase(session) > 0) {
        Kvs::CNSLog("Session %d ends", session);
        endIfUnused();
    }
}

void Helper::endIfUnused() {
    if (startsAnew()) {
        loop_.quit();
    }
}

} // namespace kvn::helper
