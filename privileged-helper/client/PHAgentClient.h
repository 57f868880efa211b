// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadCondition.h"
#include "host/Bundle.h"
#include "host/MainLoop.h"
#include "host/PrivilegedJobs.h"
#include "host/Sleeper.h"
#include "privileged-helper/client/PHClientProtocolHandler.h"
#include "privileged-helper/client/PHEventThread.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace kvn {

/// Receives a privileged helper's events and the end of its connection.
class PHAgentEventHandler {
public:
    virtual ~PHAgentEventHandler() = default;

    /// Called with an event of the helper. Main thread.
    virtual bool processAgentEvent(const PHMessage& event) = 0;

    /// Called when a connection that was read has ended; `error` is null when the helper closed it. Called at
    /// most once for each client, on the thread that noticed the end: the client's event thread, or a thread
    /// whose message could not be sent.
    virtual void processErrorEvent(const host::Error* error) = 0;
};

/// Thrown by a synchronous read while the event thread is reading.
class PHAgentClientInvalidState : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// The client of one privileged helper, which is embedded in the application bundle: connects to it, installs
/// it or replaces it when its version is not the embedded one, and brings its events to the main thread. In
/// the names of this class and of PHClientProtocolHandler, which the interface prescribes, "agent" is the
/// privileged helper; elsewhere it is this program.
///
/// Held by a shared pointer, which may be dropped on any thread. Connecting, installing and the synchronous
/// uninstall block: call them on one background thread at a time.
class PHAgentClient : public std::enable_shared_from_this<PHAgentClient> {
public:
    /// The objects that a client uses. All of them outlive the client.
    struct Environment {
        host::MainLoop& loop;
        host::Sleeper& sleeper;
        const host::Bundle& bundle;
        host::PrivilegedJobs& jobs;
        /// The time for which `uninstallPrivilegedAgent` waits for the helper's completion event.
        std::chrono::milliseconds uninstallTimeout = std::chrono::seconds(10);
    };

    enum InstallResult : std::int32_t {
        kInstalled = 1,
        kInstallSkipped = 0, // after too many failures
        kInstallFailed = -1,
        kNotAuthorized = host::PrivilegedJobs::kCanceled,
    };

    /// `agentPath` is the helper's path in the bundle's Contents folder. The bundle is read here.
    PHAgentClient(const Environment& environment, Kvs::FileDescriptor connection,
                  const std::string& agentPath, bool trace);
    /// Creates a client without a connection. `eventHandler` lives until `dropEventHandler` has returned, or
    /// the client has been destroyed.
    PHAgentClient(const Environment& environment, PHAgentEventHandler& eventHandler,
                  const std::string& agentPath, bool trace);
    virtual ~PHAgentClient();
    PHAgentClient(const PHAgentClient&) = delete;
    PHAgentClient& operator=(const PHAgentClient&) = delete;

    /// Makes what blocks on other threads return, closes the connection, and makes everything later fail: a
    /// program that is about to end connects to no helper and installs none. Any thread.
    void end();
    /// Returns true once `end` was called. Any thread.
    bool hasEnded() const { return ended_; }

    /// When it returns, no thread is calling the event handler or will call it. Main thread.
    void dropEventHandler();
    /// Returns true until the end of a connection has been reported to the event handler, or the handler was
    /// dropped. Any thread.
    bool deliversEvents() const;

    /// Returns true if a helper is connected; if not, connects to one of the embedded version if that is
    /// worth trying. A connection to a helper of another version is left open, so a second call returns true.
    bool verifyAgentConnection();

    /// Replaces an installed helper by the embedded one and connects to it. With an empty user name the
    /// system shows the prompt and asks the user for the authorization.
    InstallResult installPrivilegedAgent(const std::string& label, const std::string& asUser,
                                         const std::string& withPassword,
                                         const std::string& authorizationPrompt);

    /// Returns null when the user refused or the system gave no authorization.
    std::unique_ptr<host::PrivilegedJobs::Authorization>
    createAuthorizationForUser(const std::string& user, const std::string& password,
                               const std::string& authorizationPrompt);

    /// Returns true if the installed helper is newer than the embedded one.
    bool downgradeRequiredForAgent(const std::string& label) const;

    /// Any thread.
    bool isConnected() const { return protocolHandler_->isConnected(); }

    /// Any thread.
    bool sendMessage(const PHMessage& message) { return protocolHandler_->sendMessage(message); }

    /// Reads one message. Throws PHAgentClientInvalidState while an event thread runs.
    std::optional<PHMessage> readMessage();

    /// Returns the version that the helper sent last.
    std::optional<std::string> getAgentVersion() const;

    /// Returns false after a failed attempt, another version or a failed install.
    bool tryToConnect() const { return tryToConnect_; }

    /// Returns the number of failed installs; after the fifth there is no further attempt.
    std::int32_t installErrorCount() const { return installErrorCount_; }

    /// Begins to read events, unless a thread reads this connection already. Without a connection an error is
    /// logged; the event handler is told only of the end of a connection. If the system has no thread left,
    /// the connection is closed, so that nothing can be sent that would get no answer.
    void startEventThread();
    /// Closes the connection that the thread reads.
    void stopEventThread();
    void verifyEventThreadRunning() { startEventThread(); }

    /// Asks the helper to end. 250 ms later, on the main thread, ends the connection that was in use, or
    /// removes it if it has ended by itself.
    void terminatePrivilegedAgent();
    /// Asks the helper to uninstall itself, waits for the completion, and ends the connection. The completion
    /// arrives on the main thread, so a call there would always wait until the timeout.
    void uninstallPrivilegedAgent();

private:
    struct Embedded {
        std::string bundleId;
        std::string version;
    };

    static Embedded readEmbedded(const host::Bundle& bundle, const std::string& agentPath);

    bool isAgentEmbedded() const;
    std::string agentName() const;
    void setInstalledToolVersion(const std::string& version);
    std::optional<std::string> connect();
    void uninstallNewerAgent();
    InstallResult verifyInstalledVersion();
    InstallResult installFailed(const std::optional<host::Error>& error);
    std::shared_ptr<PHEventThread> eventThread() const;
    void stop(const std::shared_ptr<PHEventThread>& thread);
    void endConnection(const PHProtocolHandler::Connection& connection);
    bool dispatchAgentEvent(const PHMessage& message);
    void eventThreadTerminatedWithError(const host::Error* error);

    const Environment environment_;
    const std::shared_ptr<PHClientProtocolHandler> protocolHandler_;
    const Embedded embedded_;
    std::atomic<bool> ended_ = false;
    std::atomic<bool> tryToConnect_ = true;
    std::atomic<std::int32_t> installErrorCount_ = 0;

    // The lock is not held during a call of another object: the event handler may drop this client, and
    // `PHEventThread::stop` waits for a thread that may be about to take this lock.
    mutable Kvs::FThreadLock lock_;
    std::string agentName_ KVS_GUARDED_BY(lock_);
    std::optional<std::string> installedToolVersion_ KVS_GUARDED_BY(lock_);
    std::shared_ptr<PHEventThread> eventThread_ KVS_GUARDED_BY(lock_);
    PHAgentEventHandler* myEventHandler_ KVS_GUARDED_BY(lock_) = nullptr;
    std::thread::id terminalReporter_ KVS_GUARDED_BY(lock_); // the thread that is in `processErrorEvent`
    std::condition_variable_any terminalReported_;
    bool waitingForCommandCompletion_ KVS_GUARDED_BY(lock_) = false;
    Kvs::FThreadCondition commandCompleted_;
};

} // namespace kvn
