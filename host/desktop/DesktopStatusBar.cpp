// SPDX-License-Identifier: MIT

#include "host/desktop/DesktopStatusBar.h"

#include "host/desktop/StatusNotifierItem.h"
#include "host/desktop/StatusPictures.h"
#include "host/desktop/TrayIcon.h"

#include <utility>

namespace kvn::host {

DesktopStatusBar::DesktopStatusBar(MainLoop& mainLoop, const Bundle& bundle,
                                   std::shared_ptr<BusConnection> sessionBus)
    : mainLoop_(mainLoop), bundle_(bundle), watch_(mainLoop, std::move(sessionBus), [this] { choose(); }),
      tray_([this] { choose(); }) {}

void DesktopStatusBar::showItem(const Menu& menu) {
    if (item_ && &item_->menu() == &menu) {
        return; // panels put an item that is made anew behind the others
    }
    removeItem();
    item_ = std::make_shared<StatusItem>(mainLoop_, menu);
    item_->description = description_;
    if (image_) {
        item_->pictures = statusPictures(*image_, bundle_);
    }
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
        shown_ = std::make_unique<StatusNotifierItem>(mainLoop_, *item_, [this] { watch_.refused(); });
    } else if (panel == Panel::Tray) {
        shown_ = std::make_unique<TrayIcon>(tray_, *item_);
    }
}

void DesktopStatusBar::updateItem(const StatusImage& image) {
    const bool isNew = !image_ || image_->name != image.name || image_->meaning != image.meaning;
    image_ = image;
    if (isNew && item_) {
        item_->pictures = statusPictures(image, bundle_);
    }
    if (isNew && shown_) {
        shown_->showPicture();
    }
    if (shown_) {
        shown_->showMenu();
    }
}

void DesktopStatusBar::describe(const std::string& state) {
    std::string description = bundle_.localizedString("StatusDialogTitle") + " – " + state;
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
