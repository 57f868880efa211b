// SPDX-License-Identifier: MIT

#include "host/linux/SessionEnd.h"

#include <cstdlib>
#include <string_view>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kLogind = "org.freedesktop.login1";
constexpr const char* kLogindManager = "org.freedesktop.login1.Manager";
constexpr const char* kLogindPath = "/org/freedesktop/login1";
constexpr const char* kLogindSession = "org.freedesktop.login1.Session";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kRemovedRule =
    "type='signal',sender='org.freedesktop.login1',path='/org/freedesktop/login1',"
    "interface='org.freedesktop.login1.Manager',member='SessionRemoved'";
constexpr const char* kChangedRule =
    "type='signal',sender='org.freedesktop.login1',path_namespace='/org/freedesktop/login1/session',"
    "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
    "arg0='org.freedesktop.login1.Session'";

constexpr const char* kManager = "org.gnome.SessionManager";
constexpr const char* kManagerPath = "/org/gnome/SessionManager";
constexpr const char* kClient = "org.gnome.SessionManager.ClientPrivate";
constexpr const char* kApplication = "com.korvane.remote.KvnGUIAgent";

} // namespace

SessionEnd::SessionEnd(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                       std::shared_ptr<BusConnection> systemBus, std::string startupId, Handler handler)
    : mainLoop_(mainLoop), sessionBus_(std::move(sessionBus)), systemBus_(std::move(systemBus)),
      startupId_(std::move(startupId)), handler_(std::move(handler)) {
    signals_[0] = systemBus_->onSignal(kRemovedRule, [this](sd_bus_message& signal) { takeRemoved(signal); });
    signals_[1] = systemBus_->onSignal(kChangedRule, [this](sd_bus_message& signal) {
        if (session_ == sd_bus_message_get_path(&signal)) {
            askForState();
        }
    });
    signals_[2] = sessionBus_->onOwnerChange(kManager, [this](const char*) { askForManager(); });
    states_[0] = systemBus_->onState([this](bool connected) {
        if (connected) {
            askForSession();
        }
    });
    states_[1] = sessionBus_->onState([this](bool connected) {
        managerSignals_.reset();
        if (connected) {
            askForManager();
        }
    });
    if (systemBus_->isConnected()) {
        askForSession();
    }
    if (sessionBus_->isConnected()) {
        askForManager();
    }
}

std::shared_ptr<SessionEnd> SessionEnd::start(MainLoop& mainLoop, std::shared_ptr<BusConnection> sessionBus,
                                              std::shared_ptr<BusConnection> systemBus, std::string startupId,
                                              Handler handler) {
    return std::shared_ptr<SessionEnd>(new SessionEnd(mainLoop, std::move(sessionBus), std::move(systemBus),
                                                      std::move(startupId), std::move(handler)));
}

void SessionEnd::announce() {
    // Posted, because the handler may destroy the connection, which is in use here.
    mainLoop_.post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->handler_();
        }
    });
}

// MARK: logind

void SessionEnd::askForSession() {
    const char* const id = std::getenv("XDG_SESSION_ID");
    const char* const type = std::getenv("XDG_SESSION_TYPE");
    if (id && *id && (!type || type != std::string_view("tty"))) { // a terminal's programs may outlive it
        logindCall_ = systemBus_->call(
            {kLogind, kLogindPath, kLogindManager, "GetSession"},
            [this](sd_bus_message* answer) { takeSession(answer); }, "s", id);
    }
}

void SessionEnd::takeSession(sd_bus_message* answer) {
    const char* path = nullptr;
    if (answer && sd_bus_message_read(answer, "o", &path) > 0) {
        session_ = path;
        askForState();
    }
}

void SessionEnd::askForState() {
    logindCall_ = systemBus_->call(
        {kLogind, session_.c_str(), kProperties, "Get"},
        [this](sd_bus_message* answer) { takeState(answer); }, "ss", kLogindSession, "State");
}

void SessionEnd::takeState(sd_bus_message* answer) {
    const char* state = nullptr;
    if (answer && sd_bus_message_read(answer, "v", "s", &state) > 0 && state == std::string_view("closing")) {
        announce();
    }
}

void SessionEnd::takeRemoved(sd_bus_message& sessionRemoved) {
    const char* path = nullptr;
    if (sd_bus_message_read(&sessionRemoved, "so", nullptr, &path) > 0 && session_ == path) {
        announce();
    }
}

// MARK: The session manager

void SessionEnd::askForManager() {
    managerCall_ = sessionBus_->call(
        {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner"},
        [this](sd_bus_message* answer) {
            int exists = 0;
            managerSignals_.reset();
            if (answer && sd_bus_message_read(answer, "b", &exists) > 0 && exists != 0) {
                registerClient();
            }
        },
        "s", kManager);
}

void SessionEnd::registerClient() {
    managerCall_ = sessionBus_->call(
        {kManager, kManagerPath, kManager, "RegisterClient"},
        [this](sd_bus_message* answer) {
            const char* path = nullptr;
            if (answer && sd_bus_message_read(answer, "o", &path) > 0) {
                listen(sd_bus_message_get_sender(answer), path);
            }
        },
        "ss", kApplication, startupId_.c_str());
}

void SessionEnd::listen(const std::string& manager, const std::string& client) {
    const std::string rule =
        "type='signal',sender='" + manager + "',path='" + client + "',interface='" + kClient + "'";
    managerSignals_ = sessionBus_->onSignal(
        rule,
        [this, client](sd_bus_message& signal) {
            takeManagerSignal(client, sd_bus_message_get_member(&signal));
        },
        BusConnection::Signals::BroadcastAndDirect);
}

void SessionEnd::takeManagerSignal(const std::string& client, std::string_view name) {
    if (name == "QueryEndSession" || name == "EndSession") {
        response_ = sessionBus_->call(
            {kManager, client.c_str(), kClient, "EndSessionResponse"}, [](sd_bus_message*) {}, "bs", 1, "");
    }
    if (name == "EndSession" || name == "Stop") {
        announce();
    }
}

} // namespace kvn::host
