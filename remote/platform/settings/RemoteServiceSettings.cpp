// SPDX-License-Identifier: MIT

#include "remote/platform/settings/RemoteServiceSettings.h"

#include "core/base/Errors.h"
#include "core/logging/CNSLog.h"
#include "core/system/FSysInfoPaths.h"
#include "core/text/FGStr.h"
#include "core/time/FTime.h"
#include "host/Error.h"
#include "remote/FXmlConfigFile.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"

#include <system_error>
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

} // namespace

RemoteServiceSettings::RemoteServiceSettings(RemoteAppSuitePrefs& preferences)
    : preferences_(preferences), settingsFileW_(settingsFile()) {
    updateSettings();
}

void RemoteServiceSettings::updateSettings() {
    updatePermissions();
    transferLogEnabled_ = !canChangeTransferLog_ || booleanForKey(kTransferLogEnabled);
    sessionLogEnabled_ = !canChangeSessionLog_ || booleanForKey(kSessionLogEnabled);
    const auto folder =
        preferences_.stringForKey(canChangeSessionLog_ ? kSessionLogPath : kAdminSessionLogPath);
    sessionLogPath_ = verifySessionLogPath(folder.value_or(""));
    updateAccessInterval();
    showStatusBarMenu_ = booleanForKey(kShowStatusBarMenu);
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

void RemoteServiceSettings::updateAccessInterval() {
    const auto begin = dateOf(preferences_.stringForKey(kRemoteAccessIntervalBegin));
    const auto end = dateOf(preferences_.stringForKey(kRemoteAccessIntervalEnd));
    const Date now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    accessIntervalBegin_ = begin && end ? *begin : now;
    accessIntervalEnd_ = begin && end ? *end : now;
    // The stored end replaces the value of the policy. Read as a number, its text is the year, which is not
    // 0.
    canChangeAccessInterval_ = booleanForKey(kRemoteAccessIntervalEnd);
}

bool RemoteServiceSettings::booleanForKey(std::string_view key) {
    const auto number = preferences_.numberForKey(key);
    return number && std::visit([](auto value) { return static_cast<bool>(value); }, *number);
}

void RemoteServiceSettings::setTransferLogEnabled(bool enabled) {
    if (canChangeTransferLog_) {
        transferLogEnabled_ = enabled;
        preferences_.setNumber(enabled, kTransferLogEnabled);
    }
}

void RemoteServiceSettings::setSessionLogEnabled(bool enabled, std::string_view path) {
    if (canChangeSessionLog_) {
        sessionLogEnabled_ = enabled;
        sessionLogPath_ = verifySessionLogPath(path);
        preferences_.setNumber(enabled, kSessionLogEnabled);
        preferences_.setString(sessionLogPath_, kSessionLogPath);
    }
}

void RemoteServiceSettings::setRemoteAccessIntervalBegin(Date begin, Date end) {
    if (canChangeAccessInterval_) {
        preferences_.setString(Kvs::FTimeWithDate(begin).toCString().str(), kRemoteAccessIntervalBegin);
        preferences_.setString(Kvs::FTimeWithDate(end).toCString().str(), kRemoteAccessIntervalEnd);
    }
}

void RemoteServiceSettings::setShowStatusBarMenu(bool show) {
    showStatusBarMenu_ = show;
    preferences_.setNumber(show, kShowStatusBarMenu);
}

void RemoteServiceSettings::setLastClientProcessInfo(std::string info) {
    preferences_.setString(std::move(info), kLastClientProcessInfo);
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
        fs::create_directories(folder, error);
        if (!error) {
            // Set whatever the umask is, because every user's agent logs there.
            fs::permissions(folder, fs::perms::all, error);
        }
        if (error) {
            Kvs::OCNSLog("Failed to create directory for session logs: %@, error: %@", folder,
                         host::Error{"POSIX", error.value(), error.message()});
        }
    }
    return folder;
}

} // namespace kvn
