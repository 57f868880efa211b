// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FSysInfoPaths.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"
#include "tests/support/AgentEnvironment.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace kvn::test {

class SettingsFixture : public testing::Test {
protected:
    static constexpr char kSuite[] = "com.korvane.remote";

    /// Runs the action and returns the lines that it logged.
    template <class Action>
    static std::vector<std::string> logOf(Action action) {
        const CapturedLog log;
        action();
        return log.lines();
    }

    static void moveTime(const std::string& path, std::chrono::seconds by) {
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + by);
    }

    /// The value as a program reads it that starts now.
    std::optional<std::string> stored(const std::string& key) {
        return RemoteAppSuitePrefs(kSuite, lists_).stringForKey(key);
    }

    TemporaryRoot root_;
    const std::string support_ = Kvs::FSysInfoPaths::applicationSupportDirectory() + "/com.korvane.remote";
    const std::string prefsPath_ = support_ + "/registry/com.korvane.remote.plist";
    host::PortablePropertyList lists_;
    RemoteAppSuitePrefs prefs_{kSuite, lists_};
};

/// Runs the action with a umask that denies others everything, and returns the path's mode afterwards.
template <class Action>
mode_t modeMadeBy(Action action, const std::string& path) {
    const mode_t before = ::umask(077);
    action();
    EXPECT_EQ(::umask(before), mode_t{077});
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

} // namespace kvn::test
