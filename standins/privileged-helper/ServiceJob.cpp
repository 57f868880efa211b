// SPDX-License-Identifier: MIT

#include "standins/privileged-helper/ServiceJob.h"

#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "core/system/ReadFile.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/PollUntil.h"
#include "standins/LocalSocket.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace kvn::helper {
namespace {

using Kvs::FileDescriptor;
using Kvs::FSysInfoPaths;
using std::chrono::milliseconds;

constexpr char kJobList[] = "/Library/LaunchDaemons/com.korvane.remote.KvnRemoteService.plist";
constexpr char kControl[] = "/var/run/service-daemon.control";
constexpr int kStartFailed = -201; // the agent recognises this number
constexpr int kStopFailed = -202;
constexpr milliseconds kPatience{5'000};
constexpr milliseconds kLookInterval{20};

/// Returns the job's program and its arguments; the list is not empty. Throws std::runtime_error with the
/// reason.
std::vector<std::string> programArguments() {
    const std::string path = FSysInfoPaths::underRoot(kJobList);
    const auto content = Kvs::fReadFile(path, host::PropertyList::kMaxBytes);
    if (!content) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    const auto list = host::PortablePropertyList().parse(*content);
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

/// Returns the process that listens at the service's control socket.
std::optional<pid_t> serviceProcess() {
    const FileDescriptor connection = connectedTo(FSysInfoPaths::underRoot(kControl));
    const auto peer = connection ? Kvs::peerCredentialsOf(connection.get()) : std::nullopt;
    return peer ? std::optional(peer->process) : std::nullopt;
}

bool endsWithin(const FileDescriptor& process, milliseconds time) {
    pollfd polled[] = {{process.get(), POLLIN, 0}};
    return host::pollUntil(polled, host::deadlineIn(time)) > 0;
}

} // namespace

Outcome startService(host::ProcessRunner& runner) try {
    if (serviceProcess()) {
        return {};
    }
    std::vector<std::string> arguments = programArguments();
    const std::string program = arguments.front();
    arguments.erase(arguments.begin());
    const auto launched = runner.launch(program, arguments, host::ProcessRunner::Output::None);
    if (const auto* error = std::get_if<host::Error>(&launched)) {
        return {kStartFailed, program + ": " + error->reason};
    }
    const pid_t pid = std::get<pid_t>(launched);
    const FileDescriptor process = Kvs::watchProcessEnd(pid); // empty once it has been reaped
    for (auto waited = milliseconds(0); waited < kPatience; waited += kLookInterval) {
        if (!process || endsWithin(process, kLookInterval)) {
            return {kStartFailed, program + " ended at once"};
        }
        if (serviceProcess()) {
            return {};
        }
    }
    ::kill(pid, SIGKILL);
    return {kStartFailed, program + " did not come up in time"};
} catch (const std::runtime_error& error) {
    return {kStartFailed, error.what()};
}

Outcome stopService() {
    const auto pid = serviceProcess();
    const FileDescriptor process = pid ? Kvs::watchProcessEnd(*pid) : FileDescriptor();
    if (!pid || (!process && errno == ESRCH)) {
        return {};
    }
    for (const int signal : {SIGTERM, SIGKILL}) {
        if (!process || (::kill(*pid, signal) != 0 && errno != ESRCH)) {
            return {kStopFailed, std::strerror(errno)};
        }
        if (endsWithin(process, kPatience)) {
            return {};
        }
    }
    return {kStopFailed, "the service does not end"};
}

} // namespace kvn::helper
