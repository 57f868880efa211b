// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/StatusBar.h"
#include "host/desktop/StatusItem.h"
#include "host/desktop/StatusNotifierWatch.h"
#include "host/desktop/SystemTray.h"

#include <memory>
#include <optional>
#include <string>

namespace kvn::host {

/// The agent's item in the desktop's panel. It is shown in the way that the panel has, and again when a panel
/// comes, ends or is replaced.
class DesktopStatusBar final : public StatusBar {
public:
    /// The main loop and the bundle outlive this object.
    DesktopStatusBar(MainLoop& mainLoop, const Bundle& bundle, std::shared_ptr<BusConnection> sessionBus);
    ~DesktopStatusBar() override { removeItem(); }
    DesktopStatusBar(const DesktopStatusBar&) = delete;
    DesktopStatusBar& operator=(const DesktopStatusBar&) = delete;

    void showItem(const Menu& menu) override;
    void removeItem() override;
    void updateItem(const StatusImage& image) override;

    /// Sets the words for the state: the tool tip, and what a screen reader says.
    void describe(const std::string& state);

private:
    void choose();

    MainLoop& mainLoop_;
    const Bundle& bundle_;
    std::string description_;
    std::optional<StatusImage> image_; // the last, which a new item has until the next
    std::shared_ptr<StatusItem> item_; // null while there is none
    Panel panel_ = Panel::Nowhere;     // that shows it
    StatusNotifierWatch watch_;
    SystemTray tray_;
    std::unique_ptr<ShownItem> shown_;
};

} // namespace kvn::host
