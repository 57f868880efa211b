// SPDX-License-Identifier: MIT

#include "privileged-helper/client/PHEventThread.h"

#include "core/logging/CNSLog.h"

#include <algorithm>
#include <semaphore>
#include <utility>

namespace kvn {
namespace {

constexpr int kMostWaiting = 256; // messages in the main loop; further ones are left in the socket

// A message may cause log lines of up to 2 KB, so these bound the log to 7 MB in the first minute.
constexpr std::chrono::milliseconds kIntervalOfUnasked{20};
constexpr int kMostUnaskedAtOnce = 500;

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
    givenUp_.signal();
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
        keepPace();
    }
    // This does not remove the delegate, which would wait for a report on another thread, and the client may
    // have called `stop` in that report, which waits for this thread.
    giveUp();
}

/// Waits if the helper sends more than it is asked for, so that it cannot flood the log.
void PHEventThread::keepPace() {
    using std::chrono::steady_clock;
    if (++received_ <= handler_->sentMessages()) {
        return;
    }
    const auto now = steady_clock::now();
    nextUnasked_ = std::max(nextUnasked_, now - kMostUnaskedAtOnce * kIntervalOfUnasked) + kIntervalOfUnasked;
    if (nextUnasked_ > now) {
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(nextUnasked_ - now);
        Kvs::fCondTimedWait(givenUp_.handle(), static_cast<unsigned int>(wait.count()));
    }
}

void PHEventThread::connctionFailedWithError(PHProtocolHandler&, const host::Error& error) {
    if (giveUp()) {
        Kvs::OCNSLog("PH connection failed, reason: %@", error.reason);
        if (connection_) {
            delivery_->client.terminatedWithError(&error);
        }
    }
}

void PHEventThread::connectionClosed(PHProtocolHandler&) {
    if (giveUp()) {
        Kvs::CNSLog("PrivilegedAgent event connection closed by peer");
        delivery_->client.terminatedWithError(nullptr);
    }
}

} // namespace kvn
