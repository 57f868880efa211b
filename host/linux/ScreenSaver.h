// SPDX-License-Identifier: MIT

#pragma once

#include "core/threads/FThreadLock.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace sdbus {
class IConnection;
class IProxy;
} // namespace sdbus

namespace kvn::host {

/// The desktop's screen saver (org.freedesktop.ScreenSaver on the session bus). Connects on the first
/// call, and again after the connection was lost. Results are 0 or an errno value; a call takes at most
/// `kBusTimeLimit`, the first one twice that. Any thread, one call at a time.
class ScreenSaver {
public:
    ScreenSaver();
    ~ScreenSaver();
    ScreenSaver(const ScreenSaver&) = delete;
    ScreenSaver& operator=(const ScreenSaver&) = delete;

    std::int32_t simulateUserActivity();

    /// Keeps the screen on until `unInhibit` of the cookie, or the end of this object.
    std::int32_t inhibit(const std::string& application, const std::string& reason, std::uint32_t& cookie);
    std::int32_t unInhibit(std::uint32_t cookie);

private:
    std::int32_t call(const std::function<void(sdbus::IProxy&)>& method);

    Kvs::FThreadLock lock_;
    std::unique_ptr<sdbus::IConnection> connection_ KVS_GUARDED_BY(lock_);
    std::unique_ptr<sdbus::IProxy> proxy_ KVS_GUARDED_BY(lock_);
};

} // namespace kvn::host
