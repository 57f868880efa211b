// SPDX-License-Identifier: MIT

#pragma once

#include "host/HotKeys.h"
#include "host/linux/BusConnection.h"

#include <memory>
#include <optional>
#include <string>

namespace kvn::host {

/// A global key of a desktop whose programs cannot grab keys (Wayland): asks the desktop's portal for it
/// (org.freedesktop.portal.GlobalShortcuts on the session bus), which asks the user. One key at a time. It is
/// asked for again whenever the bus or the portal comes back. Main thread.
class PortalShortcuts final : public HotKeys {
public:
    /// `purpose` tells the user what the key does.
    PortalShortcuts(std::shared_ptr<BusConnection> sessionBus, std::string purpose);

    const char* commandKey() const override;

    /// Told `kRefused` when the portal refuses the key, and when there is no portal or none with shortcuts;
    /// `kGranted` when a later portal gives it.
    std::int32_t installHandler(Handler handler) override;

    /// The result is 0 or `kUnknownKey`: the portal answers later.
    std::int32_t registerHotKey(const Key& key, Reference& reference) override;

    /// The portal itself drops the key when the process ends.
    void unregisterHotKey(Reference reference) override;

private:
    /// A step that the portal answers with a signal. Told the results, which are behind the code 0 in the
    /// message.
    using Step = std::function<void(sd_bus_message& results)>;

    void findPortal();
    void createSession();
    void bindShortcut();
    void takePress(sd_bus_message& signal);
    void awaitResponse(Step next);
    void takeCallAnswer(const sd_bus_message* answer);
    void refuse(const std::string& reason);
    void tell(Kind kind) const;

    std::string ownPath(const char* kind) const;

    const std::shared_ptr<BusConnection> bus_;
    const std::string purpose_;
    Handler handler_;
    std::optional<Key> key_; // that is registered
    std::string portal_;     // the portal's unique name on the bus; empty until it has answered
    std::string own_;        // ours, as it is in the portal's paths
    unsigned attempt_ = 0;   // counts requests: each has a path of its own
    bool refused_ = false;
    std::string session_; // the path of the portal's session
    MainLoop::Handle call_;
    MainLoop::Handle response_;
    MainLoop::Handle presses_;
    MainLoop::Handle portals_; // that come and go
    MainLoop::Handle state_;
};

} // namespace kvn::host
