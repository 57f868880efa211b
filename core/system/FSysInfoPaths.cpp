// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"

#include "core/base/Errors.h"
#include "core/system/FileDescriptor.h"
#include "core/threads/FThreadLock.h"
#include "core/time/FTime.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace Kvs {

namespace {

struct Paths {
    FThreadLock lock;
    std::string root KVS_GUARDED_BY(lock);
    FGStr<wchar_t> userLogDir KVS_GUARDED_BY(lock);
};

Paths& paths() {
    static Paths* const instance = new Paths; // never destroyed: threads may log while the process exits
    return *instance;
}

template <class C>
FGStr<C> withSlash(FGStr<C> path) {
    static constexpr C slash[] = {'/', 0};
    return path.str().ends_with(C{'/'}) ? path : path.append(slash);
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// Gives everybody access to the directory, unless the path names a symbolic link. An administrator's sticky
/// bit stays: with it, users cannot remove each other's files. A directory of another user may refuse; it is
/// then left as it is.
void openToEveryone(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back(); // with a slash behind it, a link would be followed
    }
    const FileDescriptor directory(
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (directory && ::fstat(directory.get(), &status) == 0) {
        ::fchmod(directory.get(), 0777 | (status.st_mode & S_ISVTX));
    }
}

} // namespace

FGStr<char> FAppContext::getEnv(const char* name) { return FGStr<char>(std::getenv(name)); }

bool TFSysFile::exists(const FGStr<wchar_t>& path) {
    struct stat status {};
    return ::stat(fNarrow(path).c_str(), &status) == 0;
}

bool TFSysFile::makeDirectory(const FGStr<wchar_t>& path) {
    return ::mkdir(fNarrow(path).c_str(), 0777) == 0;
}

void FSysInfoPaths::setRoot(std::string_view root) {
    while (root.ends_with('/')) {
        root.remove_suffix(1);
    }
    FLockGuard guard(paths().lock);
    paths().root = root;
}

std::string FSysInfoPaths::underRoot(std::string_view path) {
    FLockGuard guard(paths().lock);
    const bool relative = !paths().root.empty() && !path.empty() && path.front() != '/';
    return paths().root + (relative ? "/" : "") + std::string(path);
}

FGStr<char> FSysInfoPaths::getHomeFolder() {
    const FGStr<char> home = FAppContext::getEnv("HOME");
    return withSlash(home.isEmpty() ? FGStr<char>(".") : home);
}

FGStr<wchar_t> FSysInfoPaths::getHomeFolderW() { return fWiden(getHomeFolder().token()); }

FGStr<wchar_t> FSysInfoPaths::getUserLogDirW() {
    {
        FLockGuard guard(paths().lock);
        if (!paths().userLogDir.isEmpty()) {
            return paths().userLogDir;
        }
    }
    const FGStr<wchar_t> path = fWiden(underRoot(getHomeFolder().str() + "KvLogs"));
    if (!TFSysFile::exists(path)) {
        TFSysFile::makeDirectory(path); // a failure shows when a file is opened in it
    }
    return withSlash(path);
}

void FSysInfoPaths::setUserLogDirW(const FGStr<wchar_t>& path) {
    if (!TFSysFile::exists(path)) {
        TFSysFile::makeDirectory(path);
    }
    const std::string narrow = fNarrow(path);
    if (!isDirectory(narrow)) {
        throw FException("Log directory could not be created", "FSysInfoPaths::setUserLogDirW()");
    }
    openToEveryone(narrow); // since every user's agent logs there
    FLockGuard guard(paths().lock);
    paths().userLogDir = withSlash(path);
}

FGStr<wchar_t> FSysInfoPaths::getNewLogFileNameW(const wchar_t* prefix, const wchar_t* extension) {
    std::wstring time = FTime(true).toWStringEx().str();
    std::replace(time.begin(), time.end(), L':', L'-');
    FGStr<wchar_t> name = getUserLogDirW();
    return name.append(prefix).append(time).append(extension);
}

std::string FSysInfoPaths::applicationSupportDirectory() { return underRoot("/Library/Application Support"); }

FOSXSystemConfig& FOSXSystemConfig::getInstance() {
    static FOSXSystemConfig instance;
    return instance;
}

FGStr<wchar_t> FOSXSystemConfig::getServiceConfigDirectory(const FGStr<wchar_t>& name) const {
    FGStr<wchar_t> path = fWiden(FSysInfoPaths::applicationSupportDirectory());
    path.append(L"/com.korvane.remote/config");
    if (!name.isEmpty()) {
        path.append(L"/").append(name.token());
    }
    return path;
}

FGStr<wchar_t> FOSXSystemConfig::getServiceLogDirectory(const FGStr<wchar_t>&) const {
    return FSysInfoPaths::getUserLogDirW();
}

} // namespace Kvs
