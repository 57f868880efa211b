// SPDX-License-Identifier: MIT

#include "host/desktop/DesktopStatusBar.h"

#include "host/Host.h"
#include "host/desktop/StatusNotifierItem.h"
#include "host/desktop/StatusPictures.h"
#include "host/desktop/TrayIcon.h"

#include <utility>

namespace kvn::host {

DesktopStatusBar::DesktopStatusBar(Host& host, std::shared_ptr<BusConnection> sessionBus)
    : host_(host), watch_(*host.mainLoop, std::move(sessionBus), [this] { choose(); }),
      tray_([this] { choose(); }) {}

void DesktopStatusBar::showItem(const Menu& menu) {
    removeItem();
    item_ = std::make_shared<StatusItem>(*host_.mainLoop, menu);
    item_->description = description_;
    pictureName_.clear();
    choose();
}

void DesktopStatusBar::removeItem() {
    shown_.reset();
    item_.reset();
    panel_ = Panel::Nowhere;
}

void DesktopStatusBar::choose() {
    if (!item_) {
        return;
    }
    const Panel panel = choosePanel(watch_.state(), tray_.isThere(), panel_);
    if (std::exchange(panel_, panel) == panel) {
        return;
    }
    shown_.reset();
    if (panel == Panel::Bus) {
        shown_ = std::make_unique<StatusNotifierItem>(*host_.mainLoop, *item_, [this] { watch_.refused(); });
    } else if (panel == Panel::Tray) {
        shown_ = std::make_unique<TrayIcon>(tray_, *item_);
    }
}

void DesktopStatusBar::updateItem(const StatusImage& image) {
    if (!item_) {
        return;
    }
    if (pictureName_ != image.name || meaning_ != image.meaning) {
        item_->pictures = statusPictures(image, *host_.bundle);
        pictureName_ = image.name;
        meaning_ = image.meaning;
        if (shown_) {
            shown_->showPicture();
        }
    }
    if (shown_) {
        shown_->showMenu();
    }
}

void DesktopStatusBar::describe(const std::string& state) {
    std::string description = host_.bundle->localizedString("StatusDialogTitle") + " – " + state;
    if (description_ == description) {
        return; // panels would hide the one under the pointer
    }
    description_ = std::move(description);
    if (item_) {
        item_->description = description_;
    }
    if (shown_) {
        shown_->showDescription();
    }
}

} // namespace kvn::host
