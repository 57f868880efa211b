// SPDX-License-Identifier: MIT

#pragma once

#include "host/StatusBar.h"

#include <memory>
#include <string>

namespace kvn::host {

class BusConnection;
struct Host;

/// The agent's item in the desktop's panel.
class DesktopStatusBar final : public StatusBar {
public:
    /// The host outlives this object.
    DesktopStatusBar(Host& host, std::shared_ptr<BusConnection> sessionBus);
    ~DesktopStatusBar() override;

    void showItem(const Menu& menu) override;
    void removeItem() override;
    void updateItem(const StatusImage& image) override;

    /// Sets the words that describe the state: the tool tip, and what a screen reader says.
    void describe(const std::string& text);

private:
    std::shared_ptr<BusConnection> sessionBus_;
};

} // namespace kvn::host
