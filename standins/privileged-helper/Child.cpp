#include "standins/privileged-helper/Child.h"

#include "core/system/PosixDifferences.h"
#include "host/posix/SpawnPlan.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvn::helper {

Child::Child(host::MainLoop& loop, const std::string& path, const std::vector<std::string>& arguments,
             Ended ended)
    : ended_(std::move(ended)) {
    const Kvs::FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    host::SpawnPlan plan(host::SpawnPlan::Group::OwnSession);
    plan.connect(nowhere.get(), STDOUT_FILENO);
    plan.connect(nowhere.get(), STDERR_FILENO);
    if (const int error = plan.start(path, arguments, pid_); error != 0) {
        throw std::system_error(error, std::generic_category(), path);
    }
    watch(loop);
}

Child::Child(host::MainLoop& loop, pid_t pid, Ended ended) : pid_(pid), ended_(std::move(ended)) {
    watch(loop);
}

void Child::watch(host::MainLoop& loop) {
    end_ = Kvs::watchProcessEnd(pid_);
    if (!end_) {
        throw std::system_error(errno, std::generic_category(), "process " + std::to_string(pid_));
    }
    watch_ = loop.watchReadable(end_.get(), [this] {
        watch_.reset();
        const Ended ended = std::move(ended_);
        const auto reaped = host::reapChild(pid_);
        const int* status = std::get_if<int>(&reaped);
        ended(status ? *status : -1);
    });
}

void Child::kill() const { ::kill(-pid_, SIGKILL); }

} // namespace kvn::helper
