// SPDX-License-Identifier: MIT

// The part of the client that checks, installs and replaces the helper.

#include "core/logging/CNSLog.h"
#include "core/text/TextFunctions.h"
#include "privileged-helper/client/PHAgentClient.h"

#include <string_view>
#include <variant>

namespace kvn {
namespace {

using host::PrivilegedJobs;
using host::PropertyValue;

constexpr std::int32_t kMostInstallErrors = 5;
constexpr std::chrono::seconds kUninstallPause{4};

constexpr const char* kBlessRight = "com.apple.ServiceManagement.blesshelper";

std::optional<std::string> textIn(const PropertyValue::Dictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    const auto* text = found == dictionary.end() ? nullptr : found->second.as<std::string>();
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<std::string> infoOf(const host::Bundle& bundle, const std::string& executable,
                                  std::string_view key) {
    const auto info = bundle.embeddedInfoList(executable);
    const auto* dictionary = std::get_if<PropertyValue::Dictionary>(&info);
    return dictionary ? textIn(*dictionary, key) : std::nullopt;
}

std::optional<std::string> firstProgramArgument(const PropertyValue::Dictionary& job) {
    const auto found = job.find("ProgramArguments");
    const auto* arguments = found == job.end() ? nullptr : found->second.as<PropertyValue::Array>();
    const auto* path = arguments && !arguments->empty() ? arguments->front().as<std::string>() : nullptr;
    return path ? std::optional(*path) : std::nullopt;
}

} // namespace

PHAgentClient::Embedded PHAgentClient::readEmbedded(const host::Bundle& bundle,
                                                    const std::string& agentPath) {
    const auto executable = bundle.auxiliaryExecutable(agentPath);
    if (!executable) {
        return {};
    }
    return {infoOf(bundle, *executable, "CFBundleIdentifier").value_or(""),
            infoOf(bundle, *executable, "CFBundleVersion").value_or("")};
}

std::string PHAgentClient::agentName() const {
    Kvs::FLockGuard guard(lock_);
    return agentName_;
}

void PHAgentClient::setInstalledToolVersion(const std::string& version) {
    Kvs::FLockGuard guard(lock_);
    installedToolVersion_ = version;
}

/// Returns true if the bundle contains the helper with its identifier, which names its socket, and its
/// version, which is compared with the installed one.
bool PHAgentClient::isAgentEmbedded() const {
    if (!embedded_.bundleId.empty() && !embedded_.version.empty()) {
        return true;
    }
    Kvs::OCNSLog("Privileged helper %@ is missing in the application bundle, or its identifier or version is",
                 agentName());
    return false;
}

std::optional<std::string> PHAgentClient::connect() {
    // A thread that still reads the former connection must not read the answers on the new one. Tasks wait
    // for the report of that connection's end, which a thread that is stopped before its report does not
    // make.
    if (const auto thread = eventThread(); thread && thread->connection() && !thread->hasEnded()) {
        stop(thread);
        eventThreadTerminatedWithError(nullptr);
    }
    stopEventThread();
    protocolHandler_->closeConnection();
    return isAgentEmbedded() && !ended_ ? protocolHandler_->connectPrivilegedAgent(embedded_.bundleId)
                                        : std::nullopt;
}

bool PHAgentClient::verifyAgentConnection() {
    if (protocolHandler_->isConnected()) {
        return true;
    }
    const auto version = tryToConnect_ ? connect() : std::nullopt;
    if (version) {
        setInstalledToolVersion(*version);
        if (*version != embedded_.version) {
            Kvs::OCNSLog("Privileged helper:%@ must be updated, installed version: %@, current: %@\n",
                         agentName(), *version, embedded_.version);
        }
    }
    tryToConnect_ = version == embedded_.version;
    return tryToConnect_;
}

PHAgentClient::InstallResult PHAgentClient::installPrivilegedAgent(const std::string& label,
                                                                   const std::string& asUser,
                                                                   const std::string& withPassword,
                                                                   const std::string& authorizationPrompt) {
    {
        Kvs::FLockGuard guard(lock_);
        agentName_ = label;
    }
    if (installErrorCount_ >= kMostInstallErrors) {
        Kvs::OCNSLog("Too many install errors of privileged agent: %@, skipping installation in this session",
                     label);
        return kInstallSkipped;
    }
    if (ended_ || !isAgentEmbedded()) {
        return installFailed(std::nullopt);
    }
    const auto former = protocolHandler_->connection();
    if (former) {
        terminatePrivilegedAgent();
    }
    const auto authorization = createAuthorizationForUser(asUser, withPassword, authorizationPrompt);
    if (!authorization) {
        endConnection(former); // its end, which "bye" causes, is not the end of a connection in use
        return kNotAuthorized;
    }
    if (downgradeRequiredForAgent(label)) {
        uninstallNewerAgent();
    }
    if (ended_) {
        return installFailed(std::nullopt);
    }
    if (const auto error = environment_.jobs.bless(label, *authorization)) {
        endConnection(former);
        return installFailed(error);
    }
    return verifyInstalledVersion();
}

/// Uninstalls the installed helper, since the system does not install an older helper over a newer one.
void PHAgentClient::uninstallNewerAgent() {
    const auto version = connect();
    const auto status = protocolHandler_->uninstallAgent();
    stopEventThread();
    protocolHandler_->closeConnection();
    environment_.sleeper.sleepFor(kUninstallPause);
    Kvs::OCNSLog("Privileged helper tool version: %@, uninstalled: %@", version, status);
}

PHAgentClient::InstallResult PHAgentClient::verifyInstalledVersion() {
    tryToConnect_ = true;
    const auto version = connect();
    if (version == embedded_.version) {
        setInstalledToolVersion(*version);
        Kvs::OCNSLog("Privileged helper %@ is up-to-date, version: %@", agentName(), *version);
        return kInstalled;
    }
    if (version) {
        Kvs::OCNSLog("Failed to update privileged helper tool: %@", agentName());
    } else {
        Kvs::OCNSLog("Failed to get version of privileged helper tool: %@", agentName());
    }
    return installFailed(std::nullopt);
}

PHAgentClient::InstallResult PHAgentClient::installFailed(const std::optional<host::Error>& error) {
    tryToConnect_ = false;
    ++installErrorCount_;
    Kvs::OCNSLog("Failed to install privileged helper tool: %@: error:%@", agentName(), error);
    return kInstallFailed;
}

std::unique_ptr<PrivilegedJobs::Authorization>
PHAgentClient::createAuthorizationForUser(const std::string& user, const std::string& password,
                                          const std::string& authorizationPrompt) {
    PrivilegedJobs::Environment environment;
    std::uint32_t creationFlags = 0;
    std::uint32_t flags = PrivilegedJobs::kExtendRights | PrivilegedJobs::kPreAuthorize;
    if (!user.empty()) {
        environment = {{"username", user}, {"password", password}};
    } else {
        if (!authorizationPrompt.empty()) {
            environment = {{"prompt", authorizationPrompt + "\n\n"}};
        }
        flags |= PrivilegedJobs::kInteractionAllowed;
        creationFlags = flags;
        Kvs::OCNSLog("AuthorizationCreate: flags: %d", creationFlags);
    }
    std::unique_ptr<PrivilegedJobs::Authorization> authorization;
    if (const auto error = environment_.jobs.createAuthorization(environment, creationFlags, authorization);
        error != 0) {
        Kvs::OCNSLog("PHProtocolHandler failed to create Authorization: %d", error);
        return authorization;
    }
    const auto reference = reinterpret_cast<std::uintptr_t>(authorization.get());
    if (environment.empty()) {
        Kvs::OCNSLog("AuthorizationCopyRights: %lx, flags: %d, env items: 0", reference, flags);
    } else {
        const auto& first = environment.front().value;
        Kvs::OCNSLog("AuthorizationCopyRights: %lx, flags: %d, env items: %d, %ld, %s", reference, flags,
                     environment.size(), first.size(), first);
    }
    const auto error = environment_.jobs.copyRights(*authorization, kBlessRight, environment, flags);
    if (error == PrivilegedJobs::kCanceled) {
        Kvs::CNSLog("PHProtocolHandler AuthorizationCopyRights request canceled by user");
        return nullptr;
    }
    if (error != 0) {
        Kvs::OCNSLog("PHProtocolHandler AuthorizationCopyRights failed with error: %d", error);
    }
    return authorization;
}

bool PHAgentClient::downgradeRequiredForAgent(const std::string& label) const {
    const auto job = environment_.jobs.jobDictionary(label);
    if (!job) {
        Kvs::OCNSDbgLog("Helper tool not yet installed: %@", label);
        return false;
    }
    const auto path = firstProgramArgument(*job);
    const auto installed = path ? infoOf(environment_.bundle, *path, "CFBundleVersion") : std::nullopt;
    Kvs::OCNSDbgLog("%@, installed version: %@, new version: %@", label, installed, embedded_.version);
    if (!installed || !Kvs::fIsOlderVersion(embedded_.version, *installed)) {
        return false;
    }
    Kvs::OCNSLog("Must downgrade %@ from version: %@ to version:%@", label, *installed, embedded_.version);
    return true;
}

} // namespace kvn
