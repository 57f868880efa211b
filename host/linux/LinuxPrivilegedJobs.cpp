// SPDX-License-Identifier: MIT

#include "host/linux/LinuxPrivilegedJobs.h"

#include "core/logging/CNSLog.h"
#include "core/system/ReadFile.h"
#include "host/linux/ElevatedInstaller.h"
#include "host/linux/helper-installer/HelperFiles.h"
#include "host/linux/helper-installer/SystemdUnit.h"

#include <cerrno>

namespace kvn::host {
namespace {

class LinuxAuthorization final : public PrivilegedJobs::Authorization {
public:
    explicit LinuxAuthorization(const EndSignal& end) : installer(end) {}

    enum class Rights { None, OfThisProcess, OfTheInstaller } rights = Rights::None;
    ElevatedInstaller installer; // started only if this process lacks the rights
};

std::string promptOf(const PrivilegedJobs::Environment& environment) {
    for (const auto& [name, value] : environment) {
        if (name == "prompt") {
            return value.substr(0, value.find_last_not_of('\n') + 1);
        }
    }
    return {};
}

} // namespace

std::int32_t LinuxPrivilegedJobs::createAuthorization(const Environment&, std::uint32_t,
                                                      std::unique_ptr<Authorization>& authorization) {
    authorization = std::make_unique<LinuxAuthorization>(end_);
    return 0;
}

std::int32_t LinuxPrivilegedJobs::copyRights(Authorization& authorization, const std::string&,
                                             const Environment& environment, std::uint32_t flags) {
    using Rights = LinuxAuthorization::Rights;
    auto& own = static_cast<LinuxAuthorization&>(authorization);
    if (own.rights != Rights::None) {
        return 0;
    }
    if (const std::string prompt = promptOf(environment); presenter_ && !prompt.empty()) {
        presenter_(prompt);
    }
    const auto obstacle = tryHelperFolders();
    if (!obstacle) {
        own.rights = Rights::OfThisProcess;
        return 0;
    }
    if ((flags & PrivilegedJobs::kInteractionAllowed) == 0) {
        return kInteractionNotAllowed;
    }
    const auto program = bundle_.auxiliaryExecutable("MacOS/KvnHelperInstaller");
    if (!program) {
        Kvs::OCNSLog("The bundle has no installer of privileged helpers, and without it: %@", *obstacle);
        return kInternal;
    }
    const std::int32_t result = own.installer.start(*program);
    own.rights = result == 0 ? Rights::OfTheInstaller : Rights::None;
    return result;
}

std::optional<Error> LinuxPrivilegedJobs::bless(const std::string& label, Authorization& authorization) {
    using Rights = LinuxAuthorization::Rights;
    auto& own = static_cast<LinuxAuthorization&>(authorization);
    if (own.rights == Rights::None) {
        return Error{"authorization", kDenied, "No right to install " + label};
    }
    const auto source =
        isJobLabel(label) ? bundle_.auxiliaryExecutable("Library/LaunchServices/" + label) : std::nullopt;
    if (!source) {
        return Error{"blessing", ENOENT, "No helper in the bundle: " + label};
    }
    auto error = own.rights == Rights::OfTheInstaller
                     ? own.installer.bless(*source, label)
                     : installation_.bless(*source, label, trustOfThisProcess());
    if (!error && !hasSystemd()) {
        Kvs::OCNSLog(
            "This system has no systemd: after a crash or a restart of the system, only the next command "
            "starts %@ again",
            label);
    }
    return error;
}

std::optional<PropertyValue::Dictionary> LinuxPrivilegedJobs::jobDictionary(const std::string& label) const {
    if (!isJobLabel(label)) {
        return std::nullopt;
    }
    const std::string path = helperJobPath(label);
    const auto content = Kvs::fReadFile(path, PropertyList::kMaxBytes);
    if (!content) {
        if (errno != ENOENT) {
            Kvs::OCNSLog("Could not read %@, errno: %d", path, errno);
        }
        return std::nullopt;
    }
    const auto parsed = propertyLists_.parse(*content);
    if (const auto* error = std::get_if<Error>(&parsed)) {
        Kvs::OCNSLog("Could not read %@: %@", path, *error);
        return std::nullopt;
    }
    const auto* entries = std::get<PropertyValue>(parsed).as<PropertyValue::Dictionary>();
    if (!entries) {
        Kvs::OCNSLog("Could not read %@: it holds no dictionary", path);
        return std::nullopt;
    }
    return *entries;
}

} // namespace kvn::host
