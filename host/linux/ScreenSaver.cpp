// SPDX-License-Identifier: MIT

#include "host/linux/ScreenSaver.h"

#include <cerrno>
#include <utility>

namespace kvn::host {
namespace {

constexpr BusMethod methodOf(const char* name) {
    return {"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver",
            name};
}

} // namespace

ScreenSaver::ScreenSaver(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus)
    : mainLoop_(mainLoop), bus_(std::move(sessionBus)),
      state_(bus_->onState([this](bool connected) { changeState(connected); })) {}

std::int32_t ScreenSaver::simulateUserActivity() {
    if (!bus_->isConnected()) {
        return ENOTCONN;
    }
    if (!activity_->wanted.exchange(true)) {
        // This object lives if `activity_` does, because the loop runs the task on the thread that destroys
        // it.
        mainLoop_.post([this, weak = std::weak_ptr(activity_)] {
            if (!weak.expired()) {
                sendActivity();
            }
        });
    }
    return 0;
}

void ScreenSaver::sendActivity() {
    activity_->call = bus_->call(
        methodOf("SimulateUserActivity"), [this](sd_bus_message*) { activity_->wanted = false; }, "");
    if (!activity_->call) {
        activity_->wanted = false;
    }
}

std::int32_t ScreenSaver::inhibit(const std::string& application, const std::string& reason,
                                  std::uint32_t& id) {
    id = ++lastId_;
    inhibitions_[id] = {application, reason, {}, false, nullptr};
    if (!sendInhibit(id)) {
        inhibitions_.erase(std::exchange(id, 0));
        return ENOTCONN;
    }
    return 0;
}

bool ScreenSaver::sendInhibit(std::uint32_t id) {
    auto& inhibition = inhibitions_.at(id);
    inhibition.call = bus_->call(
        methodOf("Inhibit"), [this, id](sd_bus_message* answer) { takeCookie(id, answer); }, "ss",
        inhibition.application.c_str(), inhibition.reason.c_str());
    return inhibition.call != nullptr;
}

void ScreenSaver::takeCookie(std::uint32_t id, sd_bus_message* answer) {
    auto& inhibition = inhibitions_.at(id);
    inhibition.call.reset();
    std::uint32_t cookie = 0;
    if (answer) {
        if (sd_bus_message_read(answer, "u", &cookie) > 0) {
            inhibition.cookie = cookie;
        } else {
            bus_->reportOnce("Inhibit of the screen saver", "the answer has an unknown form");
        }
    }
    if (inhibition.ended) {
        unInhibit(id);
    }
}

std::int32_t ScreenSaver::unInhibit(std::uint32_t id) {
    const auto found = inhibitions_.find(id);
    if (found == inhibitions_.end()) {
        return EINVAL;
    }
    auto& inhibition = found->second;
    if (inhibition.call) { // the cookie is still to come
        inhibition.ended = true;
        return 0;
    }
    if (inhibition.cookie) {
        lastUnInhibit_ = bus_->call(
            methodOf("UnInhibit"), [](sd_bus_message*) {}, "u", *inhibition.cookie);
    }
    inhibitions_.erase(found);
    return 0;
}

void ScreenSaver::changeState(bool connected) {
    if (!connected) {
        activity_->call.reset();
        activity_->wanted = false;
        std::erase_if(inhibitions_, [](const auto& entry) { return entry.second.ended; });
    }
    for (auto& [id, inhibition] : inhibitions_) {
        inhibition.cookie.reset(); // it ended with the connection
        inhibition.call.reset();
        if (connected) {
            sendInhibit(id);
        }
    }
}

} // namespace kvn::host
