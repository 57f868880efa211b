// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/SystemdUnit.h"

#include "core/system/FSysInfoPaths.h"
#include "host/linux/helper-installer/HelperFiles.h"

#include <charconv>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kvn::host {

using Kvs::FSysInfoPaths;

namespace {

std::string unitName(const std::string& label) { return label + ".service"; }

/// Returns what systemctl prints.
std::variant<std::string, Error> systemctl(ProcessRunner& runner, const std::vector<std::string>& arguments) {
    constexpr ProcessRunner::Limits kLimits{std::chrono::seconds(10), 1000};
    const auto result = runner.run(FSysInfoPaths::underRoot("/usr/bin/systemctl"), arguments, kLimits);
    if (const auto* error = std::get_if<Error>(&result)) {
        return *error;
    }
    const auto& outcome = std::get<ProcessRunner::Outcome>(result);
    if (outcome.exitStatus != 0) {
        return Error{"systemd", outcome.exitStatus, "systemctl " + arguments.front() + ": " + outcome.errors};
    }
    return outcome.output;
}

} // namespace

bool hasSystemd() {
    struct stat status {}; // the folder is systemd's documented sign
    return ::lstat(FSysInfoPaths::underRoot("/run/systemd/system").c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode);
}

bool hasUnit(const std::string& label) {
    return hasSystemd() && ::access(unitPath(label).c_str(), F_OK) == 0;
}

std::string unitPath(const std::string& label) {
    return FSysInfoPaths::underRoot("/etc/systemd/system/" + unitName(label));
}

std::string unitText(const std::string& label) {
    const std::string tool = helperToolPath(label);
    // KillMode: the helper's tasks and the service that it started go on when the helper is replaced.
    return "[Unit]\nDescription=Privileged helper " + label + "\nConditionPathExists=" + tool + R"(
StartLimitIntervalSec=0

[Service]
ExecStart=)" +
           tool + R"(
Restart=always
RestartSec=1
KillMode=process
TimeoutStopSec=3

[Install]
WantedBy=multi-user.target
)";
}

void stopUnit(const std::string& label, ProcessRunner& runner) {
    systemctl(runner, {"stop", unitName(label)}); // fails before the first installation
}

std::variant<pid_t, Error> startUnit(const std::string& label, ProcessRunner& runner) {
    const std::string unit = unitName(label);
    const std::vector<std::string> steps[] = {{"daemon-reload"}, {"enable", unit}, {"restart", unit}};
    for (const auto& arguments : steps) {
        const auto done = systemctl(runner, arguments);
        if (const auto* error = std::get_if<Error>(&done)) {
            return *error;
        }
    }
    const auto shown = systemctl(runner, {"show", "--property=MainPID", "--value", unit});
    if (const auto* error = std::get_if<Error>(&shown)) {
        return *error;
    }
    const auto& text = std::get<std::string>(shown);
    pid_t process = 0;
    std::from_chars(text.data(), text.data() + text.size(), process);
    return process;
}

void disableUnit(const std::string& label, ProcessRunner& runner) {
    systemctl(runner, {"disable", "--now", unitName(label)});
}

} // namespace kvn::host
