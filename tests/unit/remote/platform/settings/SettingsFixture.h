#pragma once

#include "core/system/FSysInfoPaths.h"
#include "host/plist/XmlPropertyList.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace kvn::test {

/// A root of its own with the folders that the product's installation makes.
class SettingsFixture : public testing::Test {
protected:
    SettingsFixture() {
        Kvs::FSysInfoPaths::setRoot(folder_.path());
        std::filesystem::create_directories(support_ + "/registry");
        std::filesystem::create_directories(support_ + "/config/KorvaneRemoteservice");
    }
    ~SettingsFixture() override { Kvs::FSysInfoPaths::setRoot(""); }

    /// Runs the action and gives what it logged.
    template <class Action>
    static std::string logOf(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    static void moveTime(const std::string& path, std::chrono::seconds by) {
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + by);
    }

    static mode_t modeOf(const std::string& path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
    }

    TemporaryFolder folder_;
    const std::string support_ = folder_.path() + "/Library/Application Support/com.korvane.remote";
    const std::string prefsPath_ = support_ + "/registry/com.korvane.remote.plist";
    const std::string policyPath_ = support_ + "/config/KorvaneRemoteservice/settings.xml";
    host::XmlPropertyList lists_;
};

/// The umask for a scope.
class WithUmask {
public:
    explicit WithUmask(mode_t mask) : before_(::umask(mask)) {}
    ~WithUmask() { ::umask(before_); }
    WithUmask(const WithUmask&) = delete;
    WithUmask& operator=(const WithUmask&) = delete;

private:
    mode_t before_;
};

} // namespace kvn::test
