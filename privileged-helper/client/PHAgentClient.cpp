#include "privileged-helper/client/PHAgentClient.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace kvn {
namespace {

// What the helper needs to take its leave, before its connection goes.
constexpr std::chrono::milliseconds kLeaveTaking{250};

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

void PHAgentClient::dropEventHandler() {
    Kvs::FLockGuard guard(lock_);
    myEventHandler_ = nullptr;
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
    const auto thread =
        std::make_shared<PHEventThread>(protocolHandler_, weak_from_this(), environment_.loop);
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
    if (eventThread_ == thread) {
        eventThread_.reset();
    }
}

/// Leaves a newer connection, and the thread that reads it, alone.
void PHAgentClient::endConnection(const PHProtocolHandler::Connection& connection) {
    if (const auto thread = eventThread();
        thread && (thread->hasEnded() || thread->connection() == connection)) {
        stop(thread);
    }
    protocolHandler_->closeConnection(connection);
}

void PHAgentClient::terminatePrivilegedAgent() {
    const auto connection = protocolHandler_->connection();
    sendMessage(PHMessage::object({{"Ctrl", "bye"}}));
    environment_.loop.postAfter(kLeaveTaking, [weak = weak_from_this(), connection] {
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
    if (sendMessage(PHMessage::object({{"Cmd", "UninstallInstallerAgent"}}))) {
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
    return handler && handler->processAgentEvent(message);
}

void PHAgentClient::eventThreadTerminatedWithError(const host::Error* error) {
    PHAgentEventHandler* handler = nullptr;
    {
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
