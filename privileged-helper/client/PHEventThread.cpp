#include "privileged-helper/client/PHEventThread.h"

#include "core/logging/CNSLog.h"

#include <condition_variable>
#include <nlohmann/json.hpp>
#include <utility>

namespace kvn {

class PHEventThread::Body : public Kvs::FInvokable<void> {
public:
    explicit Body(std::shared_ptr<PHEventThread> thread) : thread_(std::move(thread)) {}
    void invoke() const override { thread_->main(); }

private:
    const std::shared_ptr<PHEventThread> thread_; // the last to hold it may be this
};

/// Counts the messages that wait in the main loop, so that a flood stays in the socket.
class PHEventThread::Inbox {
public:
    /// False once closed.
    bool waitForRoom() {
        Kvs::FLockGuard guard(lock_);
        while (waiting_ == kMostWaiting && !closed_) {
            changed_.wait(lock_);
        }
        return !closed_;
    }
    void entered() {
        Kvs::FLockGuard guard(lock_);
        ++waiting_;
    }
    void left() {
        Kvs::FLockGuard guard(lock_);
        --waiting_;
        changed_.notify_one();
    }
    void close() {
        Kvs::FLockGuard guard(lock_);
        closed_ = true;
        changed_.notify_one();
    }

private:
    static constexpr int kMostWaiting = 256;

    Kvs::FThreadLock lock_;
    std::condition_variable_any changed_;
    int waiting_ KVS_GUARDED_BY(lock_) = 0;
    bool closed_ KVS_GUARDED_BY(lock_) = false;
};

PHEventThread::PHEventThread(std::shared_ptr<PHProtocolHandler> handler,
                             std::weak_ptr<PHEventThreadClient> client, host::MainLoop& loop)
    : handler_(std::move(handler)), connection_(handler_->connection()), client_(std::move(client)),
      loop_(loop), inbox_(std::make_shared<Inbox>()) {
    handler_->setDelegate(this);
}

PHEventThread::~PHEventThread() { stop(); }

bool PHEventThread::start() {
    thread_.setJoinable(true);
    if (thread_.execute(std::make_unique<Body>(shared_from_this()))) {
        return true;
    }
    Kvs::CNSLog("PHEventThread: failed to start");
    stop();
    return false;
}

void PHEventThread::stop() {
    giveUp();
    handler_->removeDelegate(*this);
    handler_->closeConnection(connection_);
    thread_.join();
}

/// False when the connection was given up before.
bool PHEventThread::giveUp() {
    if (ended_.exchange(true)) {
        return false;
    }
    inbox_->close();
    return true;
}

void PHEventThread::main() {
    while (inbox_->waitForRoom()) {
        auto message = handler_->readMessage(connection_);
        if (!message) {
            break;
        }
        inbox_->entered();
        loop_.post([client = client_, inbox = inbox_, event = std::move(*message)] {
            if (const auto receiver = client.lock()) {
                receiver->dispatchAgentEvent(event);
            }
            inbox->left();
        });
    }
    giveUp();
    handler_->removeDelegate(*this);
}

void PHEventThread::connctionFailedWithError(PHProtocolHandler&, const host::Error& error) {
    if (giveUp()) {
        Kvs::OCNSLog("PH connection failed, reason: %@", error.reason);
        tellClient(&error);
    }
}

void PHEventThread::connectionClosed(PHProtocolHandler&) {
    if (giveUp()) {
        Kvs::CNSLog("PrivilegedAgent event connection closed by peer");
        tellClient(nullptr);
    }
}

void PHEventThread::tellClient(const host::Error* error) {
    handler_->removeDelegate(*this);
    if (const auto client = client_.lock()) {
        client->eventThreadTerminatedWithError(error);
    }
}

} // namespace kvn
