// SPDX-License-Identifier: MIT

#include "host/posix/PosixProcessRunner.h"

#include "core/logging/CNSLog.h"
#include "core/system/PosixDifferences.h"
#include "host/posix/PollUntil.h"
#include "host/posix/SpawnPlan.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {

using Kvs::FileDescriptor;
using Kvs::FLockGuard;

namespace {

/// Collects a child's output up to the limit. The rest is read and dropped, so that the child does not block.
struct Stream {
    FileDescriptor readEnd;
    std::size_t limit;
    std::string text = {};

    void read() {
        char chunk[16384];
        const ssize_t count = ::read(readEnd.get(), chunk, sizeof chunk);
        if (count > 0) {
            text.append(chunk, std::min(static_cast<std::size_t>(count), limit - text.size()));
        } else if (count == 0 || errno != EINTR) {
            readEnd.reset();
        }
    }
};

/// Reads both streams until the child has ended. Returns 0, or the errno value for which the child is to be
/// killed.
int collect(const FileDescriptor& childEnd, const EndSignal& end, Deadline deadline, Stream& output,
            Stream& errors) {
    bool ended = false;
    for (;;) {
        pollfd polled[] = {{ended ? -1 : childEnd.get(), POLLIN, 0},
                           {end.descriptor(), POLLIN, 0},
                           {output.readEnd.get(), POLLIN, 0},
                           {errors.readEnd.get(), POLLIN, 0}};
        // All output of a child that has ended is in the pipe already; later output comes from processes that
        // it has left behind.
        const int ready = pollUntil(polled, ended ? deadlineIn({}) : deadline);
        const bool tooLate = std::chrono::steady_clock::now() >= *deadline;
        if (ready < 0) {
            return errno;
        }
        if (ended && (ready == 0 || tooLate)) {
            return 0;
        }
        if (polled[1].revents != 0) {
            return ECANCELED;
        }
        ended = ended || polled[0].revents != 0;
        if (tooLate && !ended) {
            return ETIMEDOUT;
        }
        for (const auto& [stream, slot] : {std::pair(&output, &polled[2]), std::pair(&errors, &polled[3])}) {
            if (slot->revents != 0) {
                stream->read();
            }
        }
    }
}

} // namespace

PosixProcessRunner::PosixProcessRunner(MainLoop& mainLoop)
    : childSignal_(mainLoop.onSignal(SIGCHLD, [this] { reap(); })) {}

std::variant<pid_t, Error> PosixProcessRunner::launch(const std::string& path,
                                                      const std::vector<std::string>& arguments,
                                                      Output output) {
    SpawnPlan plan(output == Output::None ? SpawnPlan::Session::Detached : SpawnPlan::Session::Own);
    pid_t pid = 0;
    FLockGuard guard(lock_); // reap() must not run between the start of the child and its entry in the list
    if (const int error = plan.start(path, arguments, pid); error != 0) {
        return posixError(error);
    }
    children_.insert(pid);
    return pid;
}

std::variant<ProcessRunner::Outcome, Error>
PosixProcessRunner::run(const std::string& path, const std::vector<std::string>& arguments, Limits limits) {
    if (end_.isRaised()) {
        return posixError(ECANCELED);
    }
    const Deadline deadline = deadlineIn(limits.time);
    auto output = makePipe();
    auto errors = output ? makePipe() : std::nullopt;
    if (!errors) {
        return posixError(errno);
    }
    SpawnPlan plan(SpawnPlan::Session::Own);
    plan.connect(output->writeEnd.get(), STDOUT_FILENO);
    plan.connect(errors->writeEnd.get(), STDERR_FILENO);
    pid_t pid = 0;
    if (const int error = plan.start(path, arguments, pid); error != 0) {
        return posixError(error);
    }
    output->writeEnd.reset();
    errors->writeEnd.reset();

    Stream outputText{std::move(output->readEnd), limits.bytes};
    Stream errorText{std::move(errors->readEnd), limits.bytes};
    const FileDescriptor childEnd = Kvs::watchProcessEnd(pid);
    const int problem = childEnd ? collect(childEnd, end_, deadline, outputText, errorText) : errno;
    if (problem != 0) {
        ::kill(-pid, SIGKILL);
    }
    const auto reaped = reapChild(pid);
    if (problem != 0) {
        return posixError(problem);
    }
    if (const auto* error = std::get_if<Error>(&reaped)) {
        return *error;
    }
    return Outcome{std::get<int>(reaped), std::move(outputText.text), std::move(errorText.text)};
}

void PosixProcessRunner::reap() {
    FLockGuard guard(lock_);
    // One signal may report the end of several children.
    std::erase_if(children_, [](pid_t child) {
        const pid_t result = waitpid(child, nullptr, WNOHANG);
        if (result < 0) {
            Kvs::OCNSLog("Lost sight of process %d: %@", static_cast<int>(child), posixError(errno));
        }
        return result != 0;
    });
}

} // namespace kvn::host
