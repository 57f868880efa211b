// SPDX-License-Identifier: MIT

#include "host/linux/ScreenSaver.h"

#include "host/linux/BusConnection.h"
#include "host/posix/Signals.h"

#include <cerrno>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IProxy.h>
#include <utility>

namespace kvn::host {
namespace {

constexpr const char* kName = "org.freedesktop.ScreenSaver";
constexpr const char* kPath = "/org/freedesktop/ScreenSaver";

} // namespace

ScreenSaver::ScreenSaver() = default;
ScreenSaver::~ScreenSaver() = default;

std::int32_t ScreenSaver::simulateUserActivity() {
    return call([](sdbus::IProxy& proxy) {
        proxy.callMethod("SimulateUserActivity").onInterface(kName).withTimeout(kBusTimeLimit);
    });
}

std::int32_t ScreenSaver::inhibit(const std::string& application, const std::string& reason,
                                  std::uint32_t& cookie) {
    return call([&](sdbus::IProxy& proxy) {
        proxy.callMethod("Inhibit")
            .onInterface(kName)
            .withTimeout(kBusTimeLimit)
            .withArguments(application, reason)
            .storeResultsTo(cookie);
    });
}

std::int32_t ScreenSaver::unInhibit(std::uint32_t cookie) {
    return call([cookie](sdbus::IProxy& proxy) {
        proxy.callMethod("UnInhibit").onInterface(kName).withTimeout(kBusTimeLimit).withArguments(cookie);
    });
}

std::int32_t ScreenSaver::call(const std::function<void(sdbus::IProxy&)>& method) {
    Kvs::FLockGuard guard(lock_);
    const SignalsBlocked blocked;
    try {
        if (!connection_) {
            auto connection = connectToBus(Bus::Session);
            if (!connection) {
                return ENOTCONN;
            }
            proxy_ = sdbus::createProxy(*connection, kName, kPath);
            connection_ = std::move(connection);
        }
        method(*proxy_);
        while (connection_->processPendingRequest()) { // drops the messages of the bus itself
        }
        return 0;
    } catch (const sdbus::Error& error) {
        const std::int32_t code = busErrorCode(error);
        if (code == ENOTCONN) {
            proxy_.reset();
            connection_.reset();
        }
        return code;
    }
}

} // namespace kvn::host
