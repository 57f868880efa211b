// SPDX-License-Identifier: MIT

#include "privileged-helper/client/PHAgentClient.h"

#include <utility>

namespace kvn {
namespace {

// The time that the helper has to end before its connection is closed.
constexpr std::chrono::milliseconds kEndingTime{250};

} // namespace

PHAgentClient::PHAgentClient(const Environment& environment, Kvs::FileDescriptor connection,
                             const std::string& agentPath, bool trace)
    : environment_(environment), protocolHandler_(std::make_shared<PHClientProtocolHandler>(
                                     std::move(connection), trace, environment.sleeper)),
      embedded_(readEmbedded(environment.bundle, agentPath)), agentName_(agentPath) {}

PHAgentClient::PHAgentClient(const Environment& environment, PHAgentEventHandler& eventHandler,
                             const std::string& agentPath, bool trace)
    : PHAgentClient(environment, Kvs::FileDescriptor(), agentPath, trace) {
    Kvs::FLockGuard guard(lock_);
    myEventHandler_ = &eventHandler;
}

PHAgentClient::~PHAgentClient() {
    stopEventThread();
    protocolHandler_->closeConnection();
}

void PHAgentClient::end() {
    ended_ = true;
    commandCompleted_.signal();
    stopEventThread(); // before the closing, which the thread would report as a failure
    protocolHandler_->closeForGood();
}

void PHAgentClient::dropEventHandler() {
    Kvs::FLockGuard guard(lock_);
    myEventHandler_ = nullptr;
    // The caller destroys the handler next, so a call of it must have returned. A handler that drops itself
    // in its call must not wait for that call.
    while (terminalReporter_ != std::thread::id() && terminalReporter_ != std::this_thread::get_id()) {
        terminalReported_.wait(lock_);
    }
}

bool PHAgentClient::deliversEvents() const {
    Kvs::FLockGuard guard(lock_);
    return myEventHandler_ != nullptr;
}

std::optional<PHMessage> PHAgentClient::readMessage() {
    if (const auto thread = eventThread(); thread && !thread->hasEnded()) {
        throw PHAgentClientInvalidState("Cannot invoke readMessage while eventThread is running");
    }
    return protocolHandler_->readMessage();
}

std::optional<std::string> PHAgentClient::getAgentVersion() const {
    Kvs::FLockGuard guard(lock_);
    return installedToolVersion_;
}

std::shared_ptr<PHEventThread> PHAgentClient::eventThread() const {
    Kvs::FLockGuard guard(lock_);
    return eventThread_;
}

void PHAgentClient::startEventThread() {
    if (const auto thread = eventThread();
        thread && !thread->hasEnded() && thread->connection() == protocolHandler_->connection()) {
        return;
    }
    stopEventThread();
    const PHEventThread::Client self = {
        [weak = weak_from_this()](const PHMessage& message) {
            if (const auto client = weak.lock()) {
                client->dispatchAgentEvent(message);
            }
        },
        [weak = weak_from_this()](const host::Error* error) {
            if (const auto client = weak.lock()) {
                client->eventThreadTerminatedWithError(error);
            }
        },
    };
    const auto thread = std::make_shared<PHEventThread>(protocolHandler_, self, environment_.loop);
    // Stored before it starts: its first read may fail at once, and the event handler may then end the
    // client's connection, for which the thread has to be stored.
    {
        Kvs::FLockGuard guard(lock_);
        eventThread_ = thread;
    }
    thread->start();
}

void PHAgentClient::stopEventThread() { stop(eventThread()); }

void PHAgentClient::stop(const std::shared_ptr<PHEventThread>& thread) {
    if (!thread) {
        return;
    }
    thread->stop();
    Kvs::FLockGuard guard(lock_);
    if (eventThread_ == thread) { // and not a thread that was started during the wait
        eventThread_.reset();
    }
}

/// Ends this connection only, not a newer one or the thread that reads it.
void PHAgentClient::endConnection(const PHProtocolHandler::Connection& connection) {
    if (const auto thread = eventThread();
        thread && (thread->hasEnded() || thread->connection() == connection)) {
        stop(thread);
    }
    protocolHandler_->closeConnection(connection);
}

void PHAgentClient::terminatePrivilegedAgent() {
    const auto connection = protocolHandler_->connection();
    sendMessage({{"Ctrl", "bye"}});
    environment_.loop.postAfter(kEndingTime, [weak = weak_from_this(), connection] {
        if (const auto client = weak.lock()) {
            client->endConnection(connection);
        }
    });
}

void PHAgentClient::uninstallPrivilegedAgent() {
    const auto connection = protocolHandler_->connection();
    {
        Kvs::FLockGuard guard(lock_);
        commandCompleted_.clear();
        waitingForCommandCompletion_ = true;
    }
    // `end` sets the flag and then signals: either the flag is seen here, or the signal comes after the
    // clearing above.
    if (!ended_ && sendMessage({{"Cmd", "UninstallInstallerAgent"}})) {
        fCondTimedWait(commandCompleted_.handle(),
                       static_cast<unsigned int>(environment_.uninstallTimeout.count()));
    }
    {
        Kvs::FLockGuard guard(lock_);
        waitingForCommandCompletion_ = false;
    }
    endConnection(connection);
}

bool PHAgentClient::dispatchAgentEvent(const PHMessage& message) {
    PHAgentEventHandler* handler = nullptr;
    {
        Kvs::FLockGuard guard(lock_);
        if (waitingForCommandCompletion_ && stringIn(message, "Event") == "CommandCompleted") {
            waitingForCommandCompletion_ = false;
            commandCompleted_.signal();
        }
        handler = myEventHandler_;
    }
    // The handler cannot be dropped meanwhile: this and `dropEventHandler` run on the main thread.
    return handler && handler->processAgentEvent(message);
}

void PHAgentClient::eventThreadTerminatedWithError(const host::Error* error) {
    PHAgentEventHandler* handler = nullptr;
    {
        // Read and cleared in one step, so that only the first of two ends is reported. From here until the
        // handler has returned, `dropEventHandler` waits for this thread.
        Kvs::FLockGuard guard(lock_);
        handler = std::exchange(myEventHandler_, nullptr);
        if (!handler) {
            return;
        }
        terminalReporter_ = std::this_thread::get_id();
    }
    handler->processErrorEvent(error);
    Kvs::FLockGuard guard(lock_);
    terminalReporter_ = std::thread::id();
    terminalReported_.notify_all();
}

} // namespace kvn
