// SPDX-License-Identifier: MIT

#include "remote/platform/settings/RemoteServiceSettings.h"

#include "core/base/Errors.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/text/FGStr.h"
#include "core/time/FTime.h"
#include "host/Error.h"
#include "remote/FXmlConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <variant>

namespace kvn {

namespace fs = std::filesystem;

namespace {

constexpr char kTransferLogEnabled[] = "TransferLogEnabled";
constexpr char kSessionLogEnabled[] = "SessionLogEnabled";
constexpr char kSessionLogPath[] = "SessionLogPath";
constexpr char kAdminSessionLogPath[] = "AdminSessionLogPath";
constexpr char kRemoteAccessIntervalBegin[] = "RemoteAccessIntervalBegin";
constexpr char kRemoteAccessIntervalEnd[] = "RemoteAccessIntervalEnd";
constexpr char kShowStatusBarMenu[] = "ShowStatusBarMenu";
constexpr char kLastClientProcessInfo[] = "LastClientProcessInfo";

Kvs::FGStr<wchar_t> settingsFile() {
    auto path = Kvs::FOSXSystemConfig::getInstance().getServiceConfigDirectory(L"KorvaneRemoteservice");
    return path.append(L"/settings.xml");
}

bool load(Kvs::FXmlConfigFile& file, const Kvs::FGStr<wchar_t>& path) {
    try {
        return file.loadFromFile(path);
    } catch (const Kvs::FException&) {
        return false;
    }
}

std::optional<RemoteServiceSettings::Date> dateOf(const std::optional<std::string>& text) {
    Kvs::FTime time;
    time = text.value_or("").c_str();
    return Kvs::DateWithFTime(time);
}

bool booleanIn(const RemoteAppSuitePrefs::Values& preferences, std::string_view key) {
    const auto number = preferences.numberForKey(key);
    return number && std::visit([](auto value) { return static_cast<bool>(value); }, *number);
}

/// Returns true if the open folder is this user's home or is below it. Looks at folders instead of paths,
/// which may have another meaning at any time.
bool isInHome(int folder) {
    const std::string home = Kvs::FSysInfoPaths::getHomeFolder().str();
    const std::string homes[] = {home, Kvs::FSysInfoPaths::underRoot(home)};
    const auto isSame = [](const struct stat& a, const struct stat& b) {
        return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
    };
    struct stat current {};
    struct stat above {};
    for (std::string path = "."; ::fstatat(folder, path.c_str(), &current, 0) == 0;) {
        path += "/..";
        if (::fstatat(folder, path.c_str(), &above, 0) != 0) {
            break;
        }
        if (isSame(current, above)) { // "/", which is nobody's own
            return false;
        }
        for (const std::string& own : homes) {
            if (struct stat status{}; ::stat(own.c_str(), &status) == 0 && isSame(status, current)) {
                return true;
            }
        }
    }
    return true; // unknown: keep it private
}

/// Makes the folder and those above it. Every user's agent logs there, except in this user's home: another
/// user may have written the path into the preferences.
std::error_code makeLogFolder(fs::path folder) {
    const auto failed = [] { return std::error_code(errno, std::generic_category()); };
    if (!folder.has_filename()) { // the path ends with "/"
        folder = folder.parent_path();
    }
    std::error_code error;
    fs::create_directories(folder.parent_path(), error);
    if (error) {
        return error;
    }
    // From here on, links that others put in the place of a folder have no effect.
    const Kvs::FileDescriptor parent(
        ::open(folder.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::string name = folder.filename();
    if (!parent || ::mkdirat(parent.get(), name.c_str(), 0700) != 0) {
        error = failed();
        // Another agent may have been faster; its folder keeps its mode.
        struct stat status {};
        return ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) ? std::error_code() : error;
    }
    if (!isInHome(parent.get())) {
        const Kvs::FileDescriptor made(
            ::openat(parent.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        struct stat status {};
        if (!made || ::fstat(made.get(), &status) != 0 || status.st_uid != ::geteuid() ||
            ::fchmod(made.get(), 0777) != 0) { // whatever the umask is
            return failed();
        }
    }
    return {};
}

} // namespace

RemoteServiceSettings::RemoteServiceSettings(RemoteAppSuitePrefs& preferences)
    : preferences_(preferences), settingsFileW_(settingsFile()) {
    updateSettings();
}

void RemoteServiceSettings::updateSettings() {
    updatePermissions();
    const RemoteAppSuitePrefs::Values preferences = preferences_.values();
    transferLogEnabled_ = !canChangeTransferLog_ || booleanIn(preferences, kTransferLogEnabled);
    sessionLogEnabled_ = !canChangeSessionLog_ || booleanIn(preferences, kSessionLogEnabled);
    const auto folder =
        preferences.stringForKey(canChangeSessionLog_ ? kSessionLogPath : kAdminSessionLogPath);
    sessionLogPath_ = verifySessionLogPath(folder.value_or(""));
    updateAccessInterval(preferences);
    showStatusBarMenu_ = booleanIn(preferences, kShowStatusBarMenu);
}

void RemoteServiceSettings::updatePermissions() {
    std::error_code missing;
    const auto modified = fs::last_write_time(Kvs::fNarrow(settingsFileW_), missing);
    if (!missing && settingsLastModified_ && *settingsLastModified_ >= modified) {
        return;
    }
    Kvs::FXmlConfigFile file;
    if (load(file, settingsFileW_)) {
        canChangeTransferLog_ = !file.getBool(L"EnableTransferLog", false);
        canChangeSessionLog_ = !file.getBool(L"EnableClientTransferLog", false);
        canChangeAccessInterval_ = file.getBool(L"RemoteAccessIntervalEnabled", false);
        canPauseService_ = !canChangeAccessInterval_ && file.getBool(L"Pauseable", false);
    } else {
        Kvs::OCNSLog("Failed to load settings file: %@", settingsFileW_);
    }
    settingsLastModified_ = missing ? std::nullopt : std::optional(modified);
}

void RemoteServiceSettings::updateAccessInterval(const RemoteAppSuitePrefs::Values& preferences) {
    const auto begin = dateOf(preferences.stringForKey(kRemoteAccessIntervalBegin));
    const auto end = dateOf(preferences.stringForKey(kRemoteAccessIntervalEnd));
    const Date now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    accessIntervalBegin_ = begin && end ? *begin : now;
    accessIntervalEnd_ = begin && end ? *end : now;
    // The stored end replaces the value of the policy. Read as a number, its text is the year, which is not
    // 0.
    canChangeAccessInterval_ = booleanIn(preferences, kRemoteAccessIntervalEnd);
}

bool RemoteServiceSettings::setTransferLogEnabled(bool enabled) {
    if (!canChangeTransferLog_) {
        return false;
    }
    transferLogEnabled_ = enabled;
    return preferences_.setNumber(enabled, kTransferLogEnabled);
}

bool RemoteServiceSettings::setSessionLogEnabled(bool enabled, std::string_view path) {
    if (!canChangeSessionLog_) {
        return false;
    }
    sessionLogEnabled_ = enabled;
    sessionLogPath_ = verifySessionLogPath(path);
    return preferences_.setNumber(enabled, kSessionLogEnabled) &&
           preferences_.setString(sessionLogPath_, kSessionLogPath);
}

bool RemoteServiceSettings::setRemoteAccessIntervalBegin(Date begin, Date end) {
    return canChangeAccessInterval_ &&
           preferences_.setString(Kvs::FTimeWithDate(begin).toCString().str(), kRemoteAccessIntervalBegin) &&
           preferences_.setString(Kvs::FTimeWithDate(end).toCString().str(), kRemoteAccessIntervalEnd);
}

bool RemoteServiceSettings::setShowStatusBarMenu(bool show) {
    showStatusBarMenu_ = show;
    return preferences_.setNumber(show, kShowStatusBarMenu);
}

bool RemoteServiceSettings::setLastClientProcessInfo(std::string info) {
    return preferences_.setString(std::move(info), kLastClientProcessInfo);
}

std::string RemoteServiceSettings::verifySessionLogPath(std::string_view path) {
    std::string folder(path);
    if (folder.empty()) {
        folder = preferences_.stringForKey(kAdminSessionLogPath).value_or("");
    }
    if (folder.empty()) {
        folder = Kvs::FSysInfoPaths::underRoot("/var/log/com.korvane.remote");
    }
    std::error_code error;
    if (!fs::exists(folder, error)) {
        error = makeLogFolder(folder);
        if (error) {
            Kvs::OCNSLog("Failed to create directory for session logs: %@, error: %@", folder,
                         host::Error{"POSIX", error.value(), error.message()});
        }
    }
    return folder;
}

} // namespace kvn
