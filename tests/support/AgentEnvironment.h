// SPDX-License-Identifier: MIT

#pragma once

#include "basic/SystemSleepMonitor.h"
#include "core/system/FSysInfoPaths.h"
#include "host/none/NoInput.h"
#include "host/plist/PortablePropertyList.h"
#include "remote/platform/RemoteServiceConnector.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"
#include "remote/platform/settings/RemoteServiceSettings.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ManualMainLoop.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kvn::test {

class FakeProcessRunner : public host::ProcessRunner {
public:
    std::variant<pid_t, host::Error> launch(const std::string& path,
                                            const std::vector<std::string>& arguments,
                                            Output = Output::Shared) override {
        launched.emplace_back(path, arguments);
        if (fails) {
            return host::Error{"posix", 2, "No such file or directory"};
        }
        return 4300;
    }
    std::variant<Outcome, host::Error> run(const std::string&, const std::vector<std::string>&,
                                           Limits) override {
        return host::Error{"posix", 2, "No such file or directory"};
    }

    bool fails = false;
    std::vector<std::pair<std::string, std::vector<std::string>>> launched;
};

class FakeBundle : public host::Bundle {
public:
    std::string localizedString(const std::string& key) const override { return key; }
    std::map<std::string, std::string, std::less<>> localizedStrings() const override { return texts; }
    std::optional<std::string> infoValue(const std::string& key) const override {
        const auto found = info.find(key);
        return found == info.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<std::string> resourcePath(const std::string& name, const std::string& type) const override {
        const auto found = resources.find(name + "." + type);
        return found == resources.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<std::string> executableOf(const std::string& bundlePath) const override {
        return bundlePath + "/Contents/MacOS/Inner";
    }
    std::optional<std::string> auxiliaryExecutable(const std::string& path) const override {
        return "/Agent.app/Contents/" + path;
    }
    std::variant<host::PropertyValue::Dictionary, host::Error>
    embeddedInfoList(const std::string& executable) const override {
        const auto found = embedded.find(executable);
        if (found == embedded.end()) {
            return host::Error{"posix", 2, "No such file or directory"};
        }
        return found->second;
    }

    std::map<std::string, host::PropertyValue::Dictionary> embedded; // by the executable's path
    std::map<std::string, std::string, std::less<>> texts;
    std::map<std::string, std::string> info;
    std::map<std::string, std::string> resources; // paths by file name
};

class FakeSystemInfo : public host::SystemInfo {
public:
    std::chrono::seconds upTime() const override { return up; }
    std::vector<std::string> preferredLanguages() const override { return languages; }
    bool isOperatingSystemAtLeast(int major, int minor, int patch) const override {
        return release >= std::array{major, minor, patch};
    }
    std::chrono::seconds up{3600};
    std::vector<std::string> languages{"en"};
    std::array<int, 3> release{11, 0, 0};
};

class FakeSessionInfo : public host::SessionInfo {
public:
    host::LoginSession ownSession() const override { return {100008, "alice"}; }
};

/// Runs jobs on the test's thread, when the test says so.
class ManualWorkQueue : public host::WorkQueue {
public:
    void post(Job job) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        jobs_.push_back(std::move(job));
    }
    /// Returns how many there were.
    std::size_t runAll() {
        std::vector<Job> jobs;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            jobs.swap(jobs_);
        }
        for (const Job& job : jobs) {
            job();
        }
        return jobs.size();
    }

private:
    std::mutex mutex_;
    std::vector<Job> jobs_;
};

/// A machine without power management.
class NoPowerManagement : public host::PowerManagement {
public:
    std::int32_t declareUserActivity(const std::string&, UserActivity, AssertionId&) override { return -1; }
    std::int32_t preventIdleDisplaySleep(const std::string&, AssertionId&) override { return -1; }
    std::int32_t releaseAssertion(AssertionId) override { return -1; }
    bool registerForSystemPower(MessageHandler) override { return false; }
    std::int32_t deregisterForSystemPower() override { return -1; }
    void allowPowerChange(std::intptr_t) override {}
    void cancelPowerChange(std::intptr_t) override {}
};

/// A folder that replaces "/" in every fixed path during its scope.
class TemporaryRoot {
public:
    TemporaryRoot() {
        Kvs::FSysInfoPaths::setRoot(folder_.path());
        std::filesystem::create_directories(folder_.file("var/tmp"));
        std::filesystem::create_directories(
            folder_.file("Library/Application Support/com.korvane.remote/registry"));
    }
    ~TemporaryRoot() { Kvs::FSysInfoPaths::setRoot(""); }
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

private:
    TemporaryFolder folder_;
};

/// Contains what a connector works with: fakes, but real pipes and preferences below a root of its own.
struct AgentEnvironment {
    AgentEnvironment() { std::signal(SIGPIPE, SIG_IGN); } // as the program does

    TemporaryRoot root;
    CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop{clock};
    FakeProcessRunner runner;
    FakeBundle bundle;
    FakeSystemInfo system;
    FakeSessionInfo session;
    NoPowerManagement power;
    host::NoPointer pointer;
    SystemSleepMonitor sleepMonitor{power, pointer, loop};
    ManualWorkQueue toolQueue;
    host::PortablePropertyList propertyList;
    RemoteAppSuitePrefs preferences{"com.korvane.remote", propertyList};
    RemoteServiceSettings settings{preferences};
    RemoteServiceConnector::Environment connector{loop,   clock,   toolQueue,    runner,  bundle,
                                                  system, session, sleepMonitor, settings};
};

} // namespace kvn::test
