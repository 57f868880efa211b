// SPDX-License-Identifier: MIT

#include "host/macos/MacRunningApplications.h"

#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "host/Error.h"
#include "host/macos/Conversions.h"
#include "host/posix/ProgramRoot.h"

#import <AppKit/AppKit.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <libproc.h>
#include <sys/sysctl.h>
#include <unistd.h>

namespace kvn::host {
namespace {

std::vector<pid_t> processesOfUser() {
    constexpr std::size_t kRoomForNewOnes = 64;
    const auto list = [](std::vector<pid_t>& into) {
        return ::proc_listpids(PROC_UID_ONLY, ::geteuid(), into.empty() ? nullptr : into.data(),
                               static_cast<int>(into.size() * sizeof(pid_t)));
    };
    std::vector<pid_t> processes;
    const int bytes = list(processes);
    processes.resize(static_cast<std::size_t>(std::max(bytes, 0)) / sizeof(pid_t) + kRoomForNewOnes);
    const int filled = list(processes);
    if (filled <= 0) {
        Kvs::OCNSLog("The user's processes are not known: %@", posixError(errno));
    }
    processes.resize(static_cast<std::size_t>(std::max(filled, 0)) / sizeof(pid_t));
    return processes;
}

/// Returns the path of the process's executable; an empty one when the process or the file is gone.
std::string executableOf(pid_t process) {
    char path[PROC_PIDPATHINFO_MAXSIZE];
    const int length = ::proc_pidpath(process, path, sizeof path);
    return {path, static_cast<std::size_t>(std::max(length, 0))};
}

/// Returns the root that the process uses; nullopt if its arguments cannot be read.
std::optional<std::filesystem::path> rootOf(pid_t process) {
    int name[] = {CTL_KERN, KERN_PROCARGS2, process};
    std::string arguments(ARG_MAX, '\0');
    std::size_t size = arguments.size();
    proc_vnodepathinfo folders{};
    if (::sysctl(name, 3, arguments.data(), &size, nullptr, 0) != 0 || size < sizeof(int) ||
        ::proc_pidinfo(process, PROC_PIDVNODEPATHINFO, 0, &folders, sizeof folders) <= 0) {
        return std::nullopt;
    }
    // The number of arguments comes first; the environment, which comes last, has no such name.
    return rootOfProgram(std::string_view(arguments).substr(sizeof(int), size - sizeof(int)),
                         folders.pvi_cdir.vip_path);
}

} // namespace

MacRunningApplications::MacRunningApplications(std::string bundleIdentifier)
    : bundleIdentifier_(std::move(bundleIdentifier)), root_(Kvs::FSysInfoPaths::underRoot("")) {}

std::vector<pid_t> MacRunningApplications::instancesOf(const std::string& bundleIdentifier) const {
    std::vector<pid_t> instances;
    if (bundleIdentifier != bundleIdentifier_) {
        return instances;
    }
    for (NSRunningApplication* application in
         [NSRunningApplication runningApplicationsWithBundleIdentifier:nsString(bundleIdentifier)]) {
        instances.push_back(application.processIdentifier);
    }
    const std::string own = executableOf(::getpid());
    for (const pid_t process : processesOfUser()) {
        // Another process whose file is gone is no instance, even if this one's file is gone as well.
        if (!own.empty() && executableOf(process) == own) {
            instances.push_back(process);
        }
    }
    std::sort(instances.begin(), instances.end());
    instances.erase(std::unique(instances.begin(), instances.end()), instances.end());
    std::erase_if(instances, [this](pid_t process) { return rootOf(process) != root_; });
    return instances;
}

bool MacRunningApplications::forceTerminate(pid_t process) {
    const auto instances = instancesOf(bundleIdentifier_);
    if (std::find(instances.begin(), instances.end(), process) == instances.end()) {
        return false;
    }
    // Not NSRunningApplication's forceTerminate, which knows only listed applications and sends this signal.
    if (::kill(process, SIGKILL) != 0) {
        Kvs::OCNSLog("Could not end process %d: %@", static_cast<int>(process), posixError(errno));
        return false;
    }
    return true;
}

} // namespace kvn::host
