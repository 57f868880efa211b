// SPDX-License-Identifier: MIT

#pragma once

#include "core/text/FGStr.h"
#include "remote/platform/settings/RemoteAppSuitePrefs.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace kvn {

/// The settings of the remote service for this user. The administrator's policy (settings.xml, which is only
/// read here) defines which of them the user may change; the preferences contain the user's own values. A
/// setting that the policy forbids to change is not written.
///
/// Main thread only.
class RemoteServiceSettings {
public:
    using Date = std::chrono::system_clock::time_point;

    /// Reads both sources. The preferences must outlive this object.
    explicit RemoteServiceSettings(RemoteAppSuitePrefs& preferences);

    /// Returns the settings of the process: null until main has set them.
    static RemoteServiceSettings* sharedSettings() { return sharedSettings_; }
    static void setSharedSettings(RemoteServiceSettings* settings) { sharedSettings_ = settings; }

    /// Reads the preferences, and the policy if its modification time is later than before. A policy that
    /// cannot be read is logged and leaves the permissions as they were; at first there are none.
    void updateSettings();

    bool changeTransferLogAllowed() const { return canChangeTransferLog_; }
    bool changeSessionLogAllowed() const { return canChangeSessionLog_; }
    bool changeRemoteAccessIntervalAllowed() const { return canChangeAccessInterval_; }
    bool pauseServiceAllowed() const { return canPauseService_; }
    bool transferLogEnabled() const { return transferLogEnabled_; }
    bool sessionLogEnabled() const { return sessionLogEnabled_; }
    const std::string& sessionLogPath() const { return sessionLogPath_; }
    Date remoteAccessIntervalBegin() const { return accessIntervalBegin_; }
    Date remoteAccessIntervalEnd() const { return accessIntervalEnd_; }
    bool showStatusBarMenu() const { return showStatusBarMenu_; }

    // These return false if the value cannot be stored, or the policy forbids to change it.
    bool setTransferLogEnabled(bool enabled);
    /// An empty path selects the administrator's folder or the default one.
    bool setSessionLogEnabled(bool enabled, std::string_view path);
    /// The times are stored with a resolution of one second. The getters change at the next `updateSettings`.
    bool setRemoteAccessIntervalBegin(Date begin, Date end);
    bool setShowStatusBarMenu(bool show);
    bool setLastClientProcessInfo(std::string info);

    /// Returns the folder for session logs: the path, or the administrator's folder, or the default one. A
    /// missing folder is created, for this user alone if it is in the user's home, otherwise for all; a
    /// failure is logged, and the folder is returned all the same.
    std::string verifySessionLogPath(std::string_view path);

private:
    void updatePermissions();
    void updateAccessInterval(const RemoteAppSuitePrefs::Values& preferences);

    inline static RemoteServiceSettings* sharedSettings_ = nullptr;

    RemoteAppSuitePrefs& preferences_;
    const Kvs::FGStr<wchar_t> settingsFileW_;
    std::optional<std::filesystem::file_time_type> settingsLastModified_; ///< at the last read
    bool canChangeTransferLog_ = false;
    bool canChangeSessionLog_ = false;
    bool canChangeAccessInterval_ = false;
    bool canPauseService_ = false;
    bool transferLogEnabled_ = false;
    bool sessionLogEnabled_ = false;
    std::string sessionLogPath_;
    Date accessIntervalBegin_;
    Date accessIntervalEnd_;
    bool showStatusBarMenu_ = false;
};

} // namespace kvn
