#include "standins/privileged-helper/ServiceJob.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "core/system/ReadFile.h"
#include "host/plist/XmlPropertyList.h"
#include "standins/LocalSocket.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace kvn::helper {
namespace {

using std::chrono::milliseconds;

constexpr char kJobList[] = "/Library/LaunchDaemons/com.korvane.remote.KvnRemoteService.plist";
constexpr char kControl[] = "/var/run/service-daemon.control";
constexpr int kStartFailed = -201; // as the agent knows it
constexpr int kStopFailed = -202;
constexpr milliseconds kPatience{5'000};
constexpr milliseconds kLookInterval{20};

/// The job's program and its arguments; never empty. Throws std::runtime_error with what is wrong.
std::vector<std::string> programArguments() {
    const std::string path = Kvs::FSysInfoPaths::underRoot(kJobList);
    const auto content = Kvs::fReadFile(path, host::PropertyList::kMaxBytes);
    if (!content) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    const auto list = host::XmlPropertyList().parse(*content);
    if (const auto* error = std::get_if<host::Error>(&list)) {
        throw std::runtime_error(path + ": " + error->reason);
    }
    std::vector<std::string> arguments;
    if (const auto* job = std::get<host::PropertyValue>(list).as<host::PropertyValue::Dictionary>()) {
        const auto entry = job->find("ProgramArguments");
        const auto* values = entry == job->end() ? nullptr : entry->second.as<host::PropertyValue::Array>();
        for (const auto& value : values ? *values : host::PropertyValue::Array()) {
            const auto* text = value.as<std::string>();
            arguments.push_back(text ? *text : "");
        }
    }
    if (arguments.empty() || arguments.front().empty()) {
        throw std::runtime_error(path + ": no ProgramArguments");
    }
    return arguments;
}

} // namespace

ServiceJob::ServiceJob(host::MainLoop& loop, std::optional<pid_t> running)
    : loop_(loop), control_(Kvs::FSysInfoPaths::underRoot(kControl)) {
    if (running) {
        child_.emplace(loop_, *running, [this](int status) { childEnded(status); });
    }
}

void ServiceJob::request(Request request) {
    requests_.push_back(std::move(request));
    if (requests_.size() == 1) {
        begin();
    }
}

void ServiceJob::begin() { requests_.front().stops ? beginStop() : beginStart(); }

std::optional<pid_t> ServiceJob::running() const {
    if (child_) {
        return child_->pid();
    }
    const Kvs::FileDescriptor connection = connectedTo(control_);
    const auto peer = connection ? Kvs::peerCredentialsOf(connection.get()) : std::nullopt;
    return peer ? std::optional(peer->process) : std::nullopt;
}

void ServiceJob::beginStop() {
    stage_ = Stage::Stopping;
    const auto pid = running();
    if (!pid) {
        stopped();
        return;
    }
    if (!child_) {
        stranger_ = Kvs::watchProcessEnd(*pid);
        if (!stranger_) {
            errno == ESRCH ? stopped() : finish({kStopFailed, std::strerror(errno)});
            return;
        }
        watch_ = loop_.watchReadable(stranger_.get(), [this] { stopped(); });
    }
    end(*pid);
}

void ServiceJob::end(pid_t pid) {
    if (::kill(pid, SIGTERM) != 0 && errno != ESRCH) {
        finish({kStopFailed, std::strerror(errno)});
        return;
    }
    alarm_ = loop_.startTimer(kPatience, [this, pid] {
        Kvs::CNSLog("Killing the service, which does not end: %d", pid);
        ::kill(pid, SIGKILL);
        alarm_ = loop_.startTimer(kPatience, [this] { finish({kStopFailed, "the service does not end"}); });
    });
}

void ServiceJob::stopped() {
    watch_.reset();
    alarm_.reset();
    stranger_.reset();
    requests_.front().starts ? beginStart() : finish({});
}

void ServiceJob::beginStart() {
    stage_ = Stage::Starting;
    if (running()) {
        finish({});
        return;
    }
    try {
        std::vector<std::string> arguments = programArguments();
        program_ = arguments.front();
        arguments.erase(arguments.begin());
        child_.emplace(loop_, program_, arguments, [this](int status) { childEnded(status); });
    } catch (const std::exception& error) {
        finish({kStartFailed, error.what()});
        return;
    }
    watch_ = loop_.startTimer(kLookInterval, [this] { look(); });
    alarm_ = loop_.startTimer(kPatience, [this] {
        alarm_.reset();
        watch_.reset();
        failure_ = program_ + " did not come up in time";
        child_->kill();
    });
}

/// Up is a service that answers.
void ServiceJob::look() {
    constexpr char kQuestion[] = "agents\n";
    char answer = 0;
    if (!question_) {
        question_ = connectedTo(control_);
        if (question_ && ::send(question_.get(), kQuestion, sizeof kQuestion - 1, 0) < 0) {
            question_.reset();
        }
    } else if (const ssize_t count = ::recv(question_.get(), &answer, 1, 0); count > 0) {
        finish({});
    } else if (count == 0 || errno != EAGAIN) {
        question_.reset();
    }
}

void ServiceJob::childEnded(int status) {
    child_.reset();
    Kvs::CNSLog("The service has ended: %d", status);
    if (stage_ == Stage::Stopping) {
        stopped();
    } else if (stage_ == Stage::Starting) {
        const std::string ended = program_ + " ended with status " + std::to_string(status);
        finish({kStartFailed, failure_.empty() ? ended : std::exchange(failure_, {})});
    }
}

void ServiceJob::finish(const Outcome& outcome) {
    watch_.reset();
    alarm_.reset();
    stranger_.reset();
    question_.reset();
    stage_ = Stage::Idle;
    const Done done = std::move(requests_.front().done);
    requests_.pop_front();
    if (!requests_.empty()) {
        loop_.post([this] { begin(); });
    }
    done(outcome);
}

} // namespace kvn::helper
