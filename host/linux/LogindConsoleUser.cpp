// SPDX-License-Identifier: MIT

#include "host/linux/LogindConsoleUser.h"

#include <string_view>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kName = "org.freedesktop.login1";
constexpr const char* kSeatPath = "/org/freedesktop/login1/seat/seat0";
constexpr const char* kSeatInterface = "org.freedesktop.login1.Seat";
constexpr const char* kSessionInterface = "org.freedesktop.login1.Session";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* kRule =
    "type='signal',sender='org.freedesktop.login1',path='/org/freedesktop/login1/seat/seat0',"
    "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
    "arg0='org.freedesktop.login1.Seat'";
constexpr std::string_view kActiveSession = "ActiveSession";
constexpr std::string_view kNoObject = "/";

/// Calls `take` with the name of each property at which a message stands; `take` reads the value or not.
/// Returns false when there is no dictionary of properties, or one that is damaged.
template <class Take>
bool readProperties(sd_bus_message& message, Take take) {
    if (sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "{sv}") <= 0) {
        return false;
    }
    int entered = 0;
    while ((entered = sd_bus_message_enter_container(&message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read(&message, "s", &name) <= 0 || !take(std::string_view(name)) ||
            sd_bus_message_exit_container(&message) < 0) {
            return false;
        }
    }
    return entered == 0 && sd_bus_message_exit_container(&message) >= 0;
}

bool skipValue(sd_bus_message& message) { return sd_bus_message_skip(&message, "v") > 0; }

} // namespace

LogindConsoleUser::LogindConsoleUser(MainLoop& mainLoop, std::shared_ptr<BusConnection> systemBus)
    : mainLoop_(mainLoop), bus_(std::move(systemBus)),
      signals_(bus_->onSignal(kRule, [this](sd_bus_message& message) { takeChange(message); })),
      state_(bus_->onState([this](bool connected) {
          owner_ = {};
          call_.reset();
          if (connected) {
              askForSession();
          }
      })) {
    askForSession();
}

MainLoop::Handle LogindConsoleUser::onChange(MainLoop::Task task) {
    auto observer = std::make_shared<MainLoop::Task>(std::move(task));
    observer_ = observer;
    return keepAlive(std::move(observer));
}

void LogindConsoleUser::takeChange(sd_bus_message& propertiesChanged) {
    bool changed = false;
    const char* interface = nullptr;
    const char* name = nullptr;
    bool read = sd_bus_message_read(&propertiesChanged, "s", &interface) > 0 &&
                readProperties(propertiesChanged,
                               [&](std::string_view property) {
                                   changed = changed || property == kActiveSession;
                                   return skipValue(propertiesChanged);
                               }) &&
                sd_bus_message_enter_container(&propertiesChanged, SD_BUS_TYPE_ARRAY, "s") > 0;
    while (read && sd_bus_message_read(&propertiesChanged, "s", &name) > 0) {
        changed = changed || name == kActiveSession; // without its value
    }
    if (!read) {
        bus_->reportOnce("PropertiesChanged", "the signal has an unknown form");
    } else if (changed) {
        askForSession();
    }
}

void LogindConsoleUser::askForSession() {
    call_ = bus_->call(
        {kName, kSeatPath, kPropertiesInterface, "Get"},
        [this](sd_bus_message* answer) { takeSession(answer); }, "ss", kSeatInterface, kActiveSession.data());
}

void LogindConsoleUser::takeSession(sd_bus_message* answer) {
    const char* session = nullptr;
    if (answer && sd_bus_message_read(answer, "v", "(so)", nullptr, &session) > 0) {
        if (session != kNoObject) {
            askForOwner(session);
            return;
        }
    } else if (answer) {
        bus_->reportOnce(kSeatInterface, "the active session has an unknown form");
    }
    setOwner({});
}

void LogindConsoleUser::askForOwner(const char* session) {
    call_ = bus_->call(
        {kName, session, kPropertiesInterface, "GetAll"},
        [this](sd_bus_message* answer) { takeOwner(answer); }, "s", kSessionInterface);
}

void LogindConsoleUser::takeOwner(sd_bus_message* answer) {
    const char* kind = nullptr;
    const char* name = nullptr;
    Owner owner;
    const bool read = answer && readProperties(*answer, [&](std::string_view property) {
                          if (property == "Class") {
                              return sd_bus_message_read(answer, "v", "s", &kind) > 0;
                          }
                          if (property == "Name") {
                              return sd_bus_message_read(answer, "v", "s", &name) > 0;
                          }
                          if (property == "User") {
                              return sd_bus_message_read(answer, "v", "(uo)", &owner.uid, nullptr) > 0;
                          }
                          return skipValue(*answer);
                      });
    if (read && kind && name) {
        owner.name = kind == std::string_view("greeter") ? "loginwindow" : name;
    } else {
        owner = {};
        if (answer) {
            bus_->reportOnce(kSessionInterface, "the session's properties have an unknown form");
        }
    }
    setOwner(std::move(owner));
}

void LogindConsoleUser::setOwner(Owner owner) {
    owner_ = std::move(owner);
    // Posted, because the observer may end this object and the connection, which is in use here.
    mainLoop_.post([weak = observer_] {
        if (const auto task = weak.lock()) {
            (*task)();
        }
    });
}

} // namespace kvn::host
