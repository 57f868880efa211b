// SPDX-License-Identifier: MIT

#include "host/linux/ElevatedInstaller.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/system/PosixDifferences.h"
#include "host/PrivilegedJobs.h"
#include "host/posix/SpawnPlan.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace {

std::optional<int> exitStatusOf(pid_t process) {
    const auto reaped = reapChild(process);
    if (const auto* error = std::get_if<Error>(&reaped)) {
        Kvs::OCNSLog("How the installer of privileged helpers ended is not known: %@", *error);
        return std::nullopt;
    }
    return std::get<int>(reaped);
}

} // namespace

ElevatedInstaller::~ElevatedInstaller() { finish(); }

std::int32_t ElevatedInstaller::start(const std::string& program) {
    constexpr int kDismissed = 126; // pkexec's exit status when the dialog was closed
    if (end_.isRaised()) {
        return PrivilegedJobs::kCanceled;
    }
    const std::string pkexec = Kvs::FSysInfoPaths::underRoot("/usr/bin/pkexec");
    auto requests = makePipe();
    auto answers = requests ? makePipe() : std::nullopt;
    if (!answers) {
        Kvs::OCNSLog("Failed to make the pipes to %@: %@", pkexec, posixError(errno));
        return PrivilegedJobs::kInternal;
    }
    SpawnPlan plan(SpawnPlan::Session::Shared); // without a desktop, pkexec asks at the terminal
    plan.connect(requests->readEnd.get(), STDIN_FILENO);
    plan.connect(answers->writeEnd.get(), STDOUT_FILENO);
    if (const int error = plan.start(pkexec, {program}, process_); error != 0) {
        process_ = 0;
        Kvs::OCNSLog("Failed to start %@: %@", pkexec, posixError(error));
        return PrivilegedJobs::kInternal;
    }
    pipe_ = LinePipe(std::move(answers->readEnd), std::move(requests->writeEnd));
    requests.reset();
    answers.reset();
    if (pipe_.read({}, end_.descriptor()) == "ready") {
        return 0;
    }
    const auto exitStatus = finish();
    return exitStatus == kDismissed || end_.isRaised() ? PrivilegedJobs::kCanceled : PrivilegedJobs::kDenied;
}

std::optional<Error> ElevatedInstaller::bless(const std::string& source, const std::string& label) {
    constexpr std::chrono::seconds kPatience(150); // more than the sum of the installer's own waits
    if (const int error = pipe_.write({"bless", source, label}); error != 0) {
        return posixError(error, "The installer");
    }
    const Deadline deadline = deadlineIn(kPatience);
    const auto next = [&] { return pipe_.read(deadline, end_.descriptor()); };
    const auto answer = next();
    if (answer == "ok") {
        return std::nullopt;
    }
    const auto domain = answer == "error" ? next() : std::nullopt;
    const auto code = domain ? next() : std::nullopt;
    const auto reason = code ? next() : std::nullopt;
    if (!reason) {
        return posixError(EPIPE, "The installer");
    }
    return Error{*domain, std::atoi(code->c_str()), *reason};
}

/// Ends the installer and with it its rights. Returns its exit status, or nullopt when that is not known or
/// the process does not end.
std::optional<int> ElevatedInstaller::finish() {
    pipe_ = {}; // the installer ends with its input
    const pid_t process = std::exchange(process_, 0);
    if (process == 0) {
        return std::nullopt;
    }
    const Kvs::FileDescriptor processEnd = Kvs::watchProcessEnd(process);
    pollfd polled{processEnd.get(), POLLIN, 0};
    const auto endsIn = [&](std::chrono::milliseconds patience) {
        // A program that is about to end waits only briefly.
        const auto longest = std::chrono::milliseconds(end_.isRaised() ? 100 : 3000);
        return pollUntil({&polled, 1}, deadlineIn(std::min(patience, longest))) > 0;
    };
    if (!end_.isRaised() && endsIn(std::chrono::seconds(3))) {
        return exitStatusOf(process);
    }
    for (const int signal : {SIGTERM, SIGKILL}) { // pkexec does not read its input while it asks the user
        if (::kill(process, signal) != 0) {
            break; // the process runs as root by now
        }
        if (endsIn(std::chrono::seconds(signal == SIGTERM ? 3 : 1))) {
            return exitStatusOf(process);
        }
    }
    Kvs::CNSLog("The installer of privileged helpers does not end: %d", static_cast<int>(process));
    return std::nullopt;
}

} // namespace kvn::host
