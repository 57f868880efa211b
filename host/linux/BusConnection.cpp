// SPDX-License-Identifier: MIT

#include "host/linux/BusConnection.h"

#include "host/posix/Signals.h"

#include <cerrno>
#include <future>
#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>
#include <string_view>
#include <thread>
#include <utility>

namespace kvn::host {

std::unique_ptr<sdbus::IConnection> connectToBus(Bus bus) {
    // The library's handshake may take a minute and a half, so it runs on a thread of its own. After our
    // limit this call does not wait for the thread any more, and the thread closes a connection that it still
    // gets.
    std::packaged_task<std::unique_ptr<sdbus::IConnection>()> connect([bus] {
        return bus == Bus::Session ? sdbus::createSessionBusConnection() : sdbus::createSystemBusConnection();
    });
    auto connected = connect.get_future();
    try {
        {
            const SignalsBlocked blocked;
            std::thread(std::move(connect)).detach();
        }
        if (connected.wait_for(kBusTimeLimit) != std::future_status::ready) {
            return nullptr;
        }
        auto connection = connected.get();
        connection->setMethodCallTimeout(kBusTimeLimit);
        return connection;
    } catch (const std::exception&) { // no bus, or no thread
        return nullptr;
    }
}

std::int32_t busErrorCode(const sdbus::Error& error) {
    const std::string_view name = error.getName();
    if (name == "org.freedesktop.DBus.Error.Disconnected" || name == "System.Error.ECONNRESET" ||
        name == "System.Error.EPIPE") {
        return ENOTCONN;
    }
    if (name == "org.freedesktop.DBus.Error.Timeout" || name == "org.freedesktop.DBus.Error.NoReply") {
        return ETIMEDOUT;
    }
    if (name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
        name == "org.freedesktop.DBus.Error.UnknownMethod") {
        return ENOTSUP;
    }
    return EIO;
}

} // namespace kvn::host
