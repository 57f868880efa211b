// SPDX-License-Identifier: MIT

#include "host/linux/LogindConsoleUser.h"

#include "core/logging/CNSLog.h"
#include "host/linux/BusConnection.h"
#include "host/posix/Signals.h"

#include <map>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IProxy.h>
#include <utility>
#include <vector>

namespace kvn::host {
namespace {

constexpr const char* kName = "org.freedesktop.login1";
constexpr const char* kSeatPath = "/org/freedesktop/login1/seat/seat0";
constexpr const char* kSeatInterface = "org.freedesktop.login1.Seat";
constexpr const char* kSessionInterface = "org.freedesktop.login1.Session";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* kActiveSession = "ActiveSession";
constexpr const char* kNoObject = "/";

using Properties = std::map<std::string, sdbus::Variant>;

template <class T>
T valueOf(const Properties& properties, const char* name) {
    const auto found = properties.find(name);
    if (found == properties.end()) {
        throw sdbus::Error("org.freedesktop.DBus.Error.UnknownProperty", name);
    }
    return found->second.get<T>();
}

} // namespace

LogindConsoleUser::LogindConsoleUser(MainLoop& mainLoop) : mainLoop_(mainLoop) {}
LogindConsoleUser::~LogindConsoleUser() = default;

MainLoop::Handle LogindConsoleUser::onChange(MainLoop::Task task) {
    auto observer = std::make_shared<MainLoop::Task>(std::move(task));
    observer_ = observer;
    connect();
    return keepAlive(std::move(observer));
}

ConsoleUser::Owner LogindConsoleUser::current() {
    if (!connect()) {
        return {};
    }
    Owner owner;
    try {
        const SignalsBlocked blocked;
        owner = askForOwner();
        failureLogged_ = false;
    } catch (const sdbus::Error& error) {
        logFailure(error.getMessage());
    }
    receive(); // the library may have read a signal together with the answers
    return owner;
}

bool LogindConsoleUser::connect() {
    if (std::exchange(connectingTried_, true)) {
        return watch_ != nullptr;
    }
    const SignalsBlocked blocked;
    connection_ = connectToBus(Bus::System);
    if (!connection_) {
        logFailure("no system bus");
        return false;
    }
    try {
        seat_ = sdbus::createProxy(*connection_, kName, kSeatPath);
        seat_->uponSignal("PropertiesChanged")
            .onInterface(kPropertiesInterface)
            .call([this](const std::string&, const Properties& changed, const std::vector<std::string>&) {
                if (changed.count(kActiveSession) != 0) {
                    postChange();
                }
            });
        seat_->finishRegistration();
    } catch (const sdbus::Error& error) {
        logFailure(error.getMessage());
        return false;
    }
    watch_ = mainLoop_.watchReadable(connection_->getEventLoopPollData().fd, [this] { receive(); });
    return true;
}

ConsoleUser::Owner LogindConsoleUser::askForOwner() {
    const sdbus::Variant active = seat_->getProperty(kActiveSession).onInterface(kSeatInterface);
    const auto path = active.get<sdbus::Struct<std::string, sdbus::ObjectPath>>().get<1>();
    if (path == kNoObject) {
        return {};
    }
    const auto session = sdbus::createProxy(*connection_, kName, path);
    Properties properties;
    session->callMethod("GetAll")
        .onInterface(kPropertiesInterface)
        .withTimeout(kBusTimeLimit)
        .withArguments(kSessionInterface)
        .storeResultsTo(properties);
    Owner owner;
    owner.name = valueOf<std::string>(properties, "Class") == "greeter"
                     ? "loginwindow"
                     : valueOf<std::string>(properties, "Name");
    owner.uid = valueOf<sdbus::Struct<std::uint32_t, sdbus::ObjectPath>>(properties, "User").get<0>();
    return owner;
}

void LogindConsoleUser::receive() {
    const SignalsBlocked blocked;
    try {
        while (connection_->processPendingRequest()) {
        }
    } catch (const sdbus::Error& error) {
        watch_.reset();
        logFailure(error.getMessage());
    }
}

void LogindConsoleUser::postChange() {
    // Posted, because the observer asks for the owner over the connection, which is in use here.
    mainLoop_.post([weak = observer_] {
        if (const auto task = weak.lock()) {
            (*task)();
        }
    });
}

void LogindConsoleUser::logFailure(const std::string& reason) {
    if (!std::exchange(failureLogged_, true)) {
        Kvs::OCNSLog("The console user is not known: %@", reason);
    }
}

} // namespace kvn::host
