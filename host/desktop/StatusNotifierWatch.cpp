// SPDX-License-Identifier: MIT

#include "host/desktop/StatusNotifierWatch.h"

#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher"; // its name, and its interface
constexpr BusMethod kHasOwner{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                              "NameHasOwner"};
constexpr BusMethod kGet{kWatcher, "/StatusNotifierWatcher", "org.freedesktop.DBus.Properties", "Get"};
constexpr const char* kPanelRules[] = {
    "type='signal',sender='org.kde.StatusNotifierWatcher',path='/StatusNotifierWatcher',"
    "interface='org.kde.StatusNotifierWatcher',member='StatusNotifierHostRegistered'",
    "type='signal',sender='org.kde.StatusNotifierWatcher',path='/StatusNotifierWatcher',"
    "interface='org.kde.StatusNotifierWatcher',member='StatusNotifierHostUnregistered'"};

} // namespace

StatusNotifierWatch::StatusNotifierWatch(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                                         std::function<void()> changed)
    : mainLoop_(mainLoop), bus_(std::move(sessionBus)), changed_(std::move(changed)),
      patience_(mainLoop_.startTimer(kPatience, [this] { settle(Watcher::None); })),
      owners_(bus_->onOwnerChange(kWatcher, [this](const char* owner) { takeOwner(owner); })),
      connections_(bus_->onState([this](bool connected) {
          wait(Watcher::Unknown, Watcher::None);
          if (connected) {
              askForOwner();
          }
      })) {
    for (std::size_t rule = 0; rule < std::size(kPanelRules); ++rule) {
        panels_[rule] = bus_->onSignal(kPanelRules[rule], [this](sd_bus_message&) { askForPanel(); });
    }
    if (bus_->isConnected()) {
        askForOwner();
    }
}

void StatusNotifierWatch::askForOwner() {
    question_ = bus_->call(
        kHasOwner,
        [this](sd_bus_message* answer) {
            int hasOwner = 0;
            if (answer && sd_bus_message_read(answer, "b", &hasOwner) > 0 && hasOwner != 0) {
                askForPanel();
            } else {
                settle(Watcher::None);
            }
        },
        "s", kWatcher);
}

void StatusNotifierWatch::takeOwner(const char* owner) {
    wait(Watcher::Unknown, Watcher::None); // the new owner does not know the item
    if (*owner) {
        askForPanel();
    }
}

/// Asks if a panel shows the items of the watcher, which has an owner: the bus starts no program for this.
void StatusNotifierWatch::askForPanel() {
    wait(Watcher::Asked, Watcher::Unusable);
    question_ = bus_->call(
        kGet,
        [this](sd_bus_message* answer) {
            int isThere = 0;
            const bool usable = answer && sd_bus_message_read(answer, "v", "b", &isThere) > 0 && isThere != 0;
            settle(usable ? Watcher::Usable : Watcher::Unusable);
        },
        "ss", kWatcher, "IsStatusNotifierHostRegistered");
}

void StatusNotifierWatch::wait(Watcher state, Watcher afterwards) {
    question_.reset();
    settle(state);
    patience_ = mainLoop_.startTimer(kPatience, [this, afterwards] { settle(afterwards); });
}

void StatusNotifierWatch::settle(Watcher state) {
    patience_.reset();
    if (std::exchange(state_, state) != state) {
        changed_();
    }
}

} // namespace kvn::host
