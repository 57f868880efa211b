// SPDX-License-Identifier: MIT

#include "privileged-helper/client/PHEventThread.h"

#include "core/logging/CNSLog.h"

#include <semaphore>
#include <utility>

namespace kvn {
namespace {

constexpr int kMostWaiting = 256; // messages in the main loop; further ones are left in the socket

} // namespace

struct PHEventThread::Delivery {
    explicit Delivery(Client receiver) : client(std::move(receiver)) {}

    const Client client;
    std::counting_semaphore<> slots{kMostWaiting};
};

class PHEventThread::Body : public Kvs::FInvokable<void> {
public:
    explicit Body(std::shared_ptr<PHEventThread> thread) : thread_(std::move(thread)) {}
    void invoke() const override { thread_->main(); }

private:
    // The client may drop its reference in a call on the event thread itself; the object has to live until
    // `main` has returned.
    const std::shared_ptr<PHEventThread> thread_;
};

PHEventThread::PHEventThread(std::shared_ptr<PHProtocolHandler> handler, Client client, host::MainLoop& loop)
    : handler_(std::move(handler)), connection_(handler_->connection()),
      delivery_(std::make_shared<Delivery>(std::move(client))), loop_(loop) {
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
    // `giveUp` comes first: the reader takes the closing below for a failure, which must not be reported.
    // `removeDelegate` waits for a report that has begun. Neither it nor `join` waits for the calling thread,
    // so the client may call this in a report.
    giveUp();
    handler_->removeDelegate(*this);
    handler_->closeConnection(connection_);
    thread_.join();
}

/// Returns false when this was called before: only the first caller may report the end.
bool PHEventThread::giveUp() {
    if (ended_.exchange(true)) {
        return false;
    }
    delivery_->slots.release(); // a reader that waits for a slot then sees `ended_`
    return true;
}

void PHEventThread::main() {
    auto& slots = delivery_->slots;
    for (slots.acquire(); !ended_; slots.acquire()) {
        const auto message = handler_->readMessage(connection_);
        if (!message) {
            break;
        }
        // The task holds the delivery and not this object: a main loop that runs late must not keep the
        // connection open.
        loop_.post([delivery = delivery_, event = *message] {
            delivery->client.dispatchAgentEvent(event);
            delivery->slots.release();
        });
    }
    // This does not remove the delegate, which would wait for a report on another thread, and the client may
    // have called `stop` in that report, which waits for this thread.
    giveUp();
}

void PHEventThread::connctionFailedWithError(PHProtocolHandler&, const host::Error& error) {
    if (giveUp()) {
        Kvs::OCNSLog("PH connection failed, reason: %@", error.reason);
        delivery_->client.terminatedWithError(&error);
    }
}

void PHEventThread::connectionClosed(PHProtocolHandler&) {
    if (giveUp()) {
        Kvs::CNSLog("PrivilegedAgent event connection closed by peer");
        delivery_->client.terminatedWithError(nullptr);
    }
}

} // namespace kvn
