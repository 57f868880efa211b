// SPDX-License-Identifier: MIT

#include "host/desktop/PortalShortcuts.h"

#include "core/logging/CNSLog.h"
#include "host/desktop/KeyTable.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace kvn::host {
namespace {

constexpr HotKeys::Reference kReference = 1;

constexpr const char* kService = "org.freedesktop.portal.Desktop";
constexpr const char* kPath = "/org/freedesktop/portal/desktop";
constexpr const char* kInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr BusMethod kGet{kService, kPath, "org.freedesktop.DBus.Properties", "Get"};
constexpr BusMethod kCreateSession{kService, kPath, kInterface, "CreateSession"};
constexpr BusMethod kBindShortcuts{kService, kPath, kInterface, "BindShortcuts"};

constexpr const char* kShortcut = "show-status-item"; // by which the desktop remembers the user's choice

/// Returns the key in the portal's words, such as "CTRL+LOGO+Up". The key is a known one.
std::string triggerOf(const HotKeys::Key& key) {
    std::string trigger;
    for (const ModifierKey& modifier : kModifierKeys) {
        if ((key.modifiers & modifier.mask) != 0) {
            trigger += std::string(modifier.name) + "+";
        }
    }
    return trigger + namedKey(key.code, key.modifiers)->name;
}

/// Returns the last part of the paths of a request and of its session.
std::string tokenOf(unsigned attempt) { return "kvn" + std::to_string(attempt); }

/// Returns true if the results of a binding name a shortcut: the user may have left all out.
bool hasShortcut(sd_bus_message& results) {
    const char* name = nullptr;
    if (sd_bus_message_enter_container(&results, 'a', "{sv}") <= 0) {
        return false;
    }
    while (sd_bus_message_enter_container(&results, 'e', "sv") > 0) {
        if (sd_bus_message_read(&results, "s", &name) <= 0) {
            return false;
        }
        if (name != std::string_view("shortcuts")) {
            sd_bus_message_skip(&results, "v");
        } else if (sd_bus_message_enter_container(&results, 'v', "a(sa{sv})") > 0 &&
                   sd_bus_message_enter_container(&results, 'a', "(sa{sv})") > 0) {
            return sd_bus_message_at_end(&results, 0) == 0;
        }
        sd_bus_message_exit_container(&results);
    }
    return false;
}

} // namespace

PortalShortcuts::PortalShortcuts(std::shared_ptr<BusConnection> sessionBus, std::string purpose)
    : bus_(std::move(sessionBus)), purpose_(std::move(purpose)) {}

const char* PortalShortcuts::commandKey() const { return kCommandKey; }

std::int32_t PortalShortcuts::installHandler(Handler handler) {
    handler_ = std::move(handler);
    return 0;
}

std::int32_t PortalShortcuts::registerHotKey(const Key& key, Reference& reference) {
    reference = 0;
    if (!namedKey(key.code, key.modifiers)) {
        return kUnknownKey;
    }
    reference = kReference;
    key_ = key;
    portals_ = bus_->onOwnerChange(kService, [this](const char* owner) {
        if (portal_ != owner) {
            presses_.reset();
            if (*owner != '\0') {
                findPortal();
            }
        }
    });
    state_ = bus_->onState([this](bool connected) {
        if (connected) {
            findPortal();
        } else {
            presses_.reset();
        }
    });
    if (bus_->isConnected()) {
        findPortal();
    }
    return 0;
}

void PortalShortcuts::unregisterHotKey(Reference reference) {
    if (reference == kReference) {
        state_.reset();
        portals_.reset();
        presses_.reset();
        response_.reset();
        call_.reset();
        key_.reset();
        refused_ = false;
    }
}

void PortalShortcuts::findPortal() {
    response_.reset();
    call_ = bus_->call(
        kGet,
        [this](sd_bus_message* answer) {
            if (!answer) {
                refuse("the desktop has no portal for global shortcuts");
                return;
            }
            portal_ = sd_bus_message_get_sender(answer);
            own_ = sd_bus_message_get_destination(answer) + 1; // without the colon
            std::replace(own_.begin(), own_.end(), '.', '_');
            createSession();
        },
        "ss", kInterface, "version");
}

void PortalShortcuts::createSession() {
    awaitResponse([this](sd_bus_message&) { bindShortcut(); });
    const std::string token = tokenOf(attempt_);
    session_ = ownPath("session");
    call_ = bus_->call(
        kCreateSession, [this](sd_bus_message* answer) { takeCallAnswer(answer); }, "a{sv}", 2,
        "handle_token", "s", token.c_str(), "session_handle_token", "s", token.c_str());
}

void PortalShortcuts::bindShortcut() {
    presses_ = bus_->onSignal(
        "type='signal',sender='" + portal_ + "',path='" + kPath + "',interface='" + kInterface + "'",
        [this](sd_bus_message& signal) { takePress(signal); }, BusConnection::Signals::BroadcastAndDirect);
    awaitResponse([this](sd_bus_message& results) {
        if (!hasShortcut(results)) {
            refuse("the user or the desktop does not want it");
        } else if (std::exchange(refused_, false)) {
            tell(kGranted);
        }
    });
    const std::string token = tokenOf(attempt_);
    call_ = bus_->call(
        kBindShortcuts, [this](sd_bus_message* answer) { takeCallAnswer(answer); }, "oa(sa{sv})sa{sv}",
        session_.c_str(), 1, kShortcut, 2, "description", "s", purpose_.c_str(), "preferred_trigger", "s",
        triggerOf(*key_).c_str(), "", 1, "handle_token", "s", token.c_str());
}

/// Called before the request, as the response may follow at once.
void PortalShortcuts::awaitResponse(Step next) {
    ++attempt_;
    response_ = bus_->onSignal(
        "type='signal',sender='" + portal_ + "',path='" + ownPath("request") +
            "',interface='org.freedesktop.portal.Request',member='Response'",
        [this, next = std::move(next)](sd_bus_message& response) {
            std::uint32_t code = 0;
            if (sd_bus_message_read(&response, "u", &code) <= 0 || code != 0) {
                refuse("the portal's response is " + std::to_string(code));
                return;
            }
            next(response);
        },
        BusConnection::Signals::BroadcastAndDirect);
}

void PortalShortcuts::takeCallAnswer(const sd_bus_message* answer) {
    if (!answer) {
        refuse("the portal does not take the request");
    }
}

void PortalShortcuts::takePress(sd_bus_message& signal) {
    const char* session = nullptr;
    const char* shortcut = nullptr;
    const std::string_view member = sd_bus_message_get_member(&signal);
    if ((member != "Activated" && member != "Deactivated") ||
        sd_bus_message_read(&signal, "os", &session, &shortcut) <= 0 || session != session_ ||
        shortcut != std::string_view(kShortcut)) {
        return;
    }
    tell(member == "Activated" ? kPressed : kReleased);
}

void PortalShortcuts::refuse(const std::string& reason) {
    response_.reset();
    if (!std::exchange(refused_, true)) {
        Kvs::OCNSLog("The hot key is not available: %@", reason);
        tell(kRefused);
    }
}

void PortalShortcuts::tell(Kind kind) const {
    if (handler_) {
        handler_(kind);
    }
}

std::string PortalShortcuts::ownPath(const char* kind) const {
    return std::string(kPath) + "/" + kind + "/" + own_ + "/" + tokenOf(attempt_);
}

} // namespace kvn::host
