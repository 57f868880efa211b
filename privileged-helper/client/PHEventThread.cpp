#include "privileged-helper/client/PHEventThread.h"

#include "core/logging/CNSLog.h"

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

PHEventThread::PHEventThread(std::shared_ptr<PHProtocolHandler> handler,
                             std::weak_ptr<PHEventThreadClient> client, host::MainLoop& loop)
    : handler_(std::move(handler)), connection_(handler_->connection()), client_(std::move(client)),
      loop_(loop) {
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
    room_->release(); // a reader that waits for room looks at `ended_` then
    return true;
}

void PHEventThread::main() {
    for (room_->acquire(); !ended_; room_->acquire()) {
        auto message = handler_->readMessage(connection_);
        if (!message) {
            break;
        }
        loop_.post([client = client_, room = room_, event = std::move(*message)] {
            if (const auto receiver = client.lock()) {
                receiver->dispatchAgentEvent(event);
            }
            room->release();
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
    if (const auto client = client_.lock()) {
        client->eventThreadTerminatedWithError(error);
    }
}

} // namespace kvn
