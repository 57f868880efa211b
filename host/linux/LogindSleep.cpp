// SPDX-License-Identifier: MIT

#include "host/linux/LogindSleep.h"

#include <fcntl.h>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kRule = "type='signal',sender='org.freedesktop.login1',path='/org/freedesktop/login1',"
                              "interface='org.freedesktop.login1.Manager',member='PrepareForSleep'";
constexpr BusMethod kInhibit{"org.freedesktop.login1", "/org/freedesktop/login1",
                             "org.freedesktop.login1.Manager", "Inhibit"};

} // namespace

LogindSleep::LogindSleep(MainLoop& mainLoop, std::shared_ptr<BusConnection> systemBus, Handler handler)
    : mainLoop_(mainLoop), bus_(std::move(systemBus)), handler_(std::move(handler)),
      signals_(bus_->onSignal(kRule, [this](sd_bus_message& message) { take(message); })),
      state_(bus_->onState([this](bool connected) {
          letSleep(); // a sleep is not announced to us without a connection
          if (connected) {
              takeInhibitor();
          }
      })) {
    takeInhibitor();
}

std::shared_ptr<LogindSleep> LogindSleep::start(MainLoop& mainLoop, std::shared_ptr<BusConnection> systemBus,
                                                Handler handler) {
    return std::shared_ptr<LogindSleep>(new LogindSleep(mainLoop, std::move(systemBus), std::move(handler)));
}

void LogindSleep::letSleep() {
    call_.reset(); // an inhibitor that is still to come would delay the sleep, too
    inhibitor_.reset();
}

void LogindSleep::takeInhibitor() {
    call_ = bus_->call(
        kInhibit,
        [this](sd_bus_message* answer) {
            int descriptor = -1; // owned by the message
            if (answer && sd_bus_message_read(answer, "h", &descriptor) > 0) {
                inhibitor_ = Kvs::FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
            } else if (answer) {
                bus_->reportOnce("Inhibit of logind", "the answer has an unknown form");
            }
        },
        "ssss", "sleep", "KvnGUIAgent", "Remote desktop sessions are told of the sleep", "delay");
}

void LogindSleep::take(sd_bus_message& prepareForSleep) {
    int goesToSleep = 0;
    if (sd_bus_message_read(&prepareForSleep, "b", &goesToSleep) <= 0) {
        bus_->reportOnce("PrepareForSleep", "the signal has an unknown form");
        return;
    }
    // Posted, because the handler may destroy the connection, which is in use here.
    mainLoop_.post([weak = weak_from_this(), goesToSleep] {
        if (const auto self = weak.lock()) {
            self->announce(goesToSleep != 0);
        }
    });
}

void LogindSleep::announce(bool goesToSleep) {
    if (!goesToSleep) {
        takeInhibitor();
    }
    handler_(goesToSleep);
}

} // namespace kvn::host
