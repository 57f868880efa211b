// SPDX-License-Identifier: MIT

#include "host/linux/LogindSleep.h"

#include "core/logging/CNSLog.h"
#include "host/linux/BusConnection.h"
#include "host/posix/Signals.h"

#include <fcntl.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IProxy.h>

namespace kvn::host {
namespace {

constexpr const char* kName = "org.freedesktop.login1";
constexpr const char* kPath = "/org/freedesktop/login1";
constexpr const char* kInterface = "org.freedesktop.login1.Manager";

} // namespace

LogindSleep::LogindSleep(MainLoop& mainLoop, Handler handler)
    : mainLoop_(mainLoop), handler_(std::move(handler)) {}
LogindSleep::~LogindSleep() = default;

std::shared_ptr<LogindSleep> LogindSleep::start(MainLoop& mainLoop, Handler handler) {
    const std::shared_ptr<LogindSleep> sleep(new LogindSleep(mainLoop, std::move(handler)));
    return sleep->connect() ? sleep : nullptr;
}

bool LogindSleep::connect() {
    const SignalsBlocked blocked;
    connection_ = connectToBus(Bus::System);
    if (!connection_) {
        return false;
    }
    try {
        proxy_ = sdbus::createProxy(*connection_, kName, kPath);
        proxy_->uponSignal("PrepareForSleep").onInterface(kInterface).call([this](const bool& goesToSleep) {
            // Posted, because the handler may destroy the connection, which is in use here.
            mainLoop_.post([weak = weak_from_this(), goesToSleep] {
                if (const auto self = weak.lock()) {
                    self->announce(goesToSleep);
                }
            });
        });
        proxy_->finishRegistration();
        takeInhibitor();
        watch_ = mainLoop_.watchReadable(connection_->getEventLoopPollData().fd, [this] { receive(); });
    } catch (const sdbus::Error&) {
        return false;
    }
    receive(); // the library may have read a signal together with the answers
    return true;
}

void LogindSleep::takeInhibitor() {
    const SignalsBlocked blocked;
    sdbus::UnixFd received;
    proxy_->callMethod("Inhibit")
        .onInterface(kInterface)
        .withTimeout(kBusTimeLimit)
        .withArguments("sleep", "KvnGUIAgent", "Remote desktop sessions are told of the sleep", "delay")
        .storeResultsTo(received);
    inhibitor_ = Kvs::FileDescriptor(received.release());
    fcntl(inhibitor_.get(), F_SETFD, FD_CLOEXEC); // the library's copy lacks it
}

void LogindSleep::receive() {
    const SignalsBlocked blocked;
    try {
        while (connection_->processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        Kvs::OCNSLog("Lost the system bus, sleep is not announced any more: %@", error.getMessage());
        watch_.reset();
    }
}

void LogindSleep::announce(bool goesToSleep) {
    if (!goesToSleep && watch_) {
        try {
            takeInhibitor();
        } catch (const sdbus::Error& error) {
            Kvs::OCNSLog("The next sleep is not delayed: %@", error.getMessage());
        }
        receive();
    }
    handler_(goesToSleep);
}

} // namespace kvn::host
