// SPDX-License-Identifier: MIT

#include "host/desktop/StatusItem.h"

#include "host/desktop/QtText.h"

#include <QMenu>
#include <algorithm>
#include <utility>

namespace kvn::host {

StatusItem::StatusItem(MainLoop& mainLoop, const Menu& menu) : mainLoop_(mainLoop), menu_(menu) {}
StatusItem::~StatusItem() = default;

void StatusItem::choose(std::size_t place) {
    if (std::exchange(isChosen_, true)) {
        return;
    }
    mainLoop_.post([weak = weak_from_this(), place] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        self->isChosen_ = false;
        const auto* item = place < self->menu_.size() ? std::get_if<MenuItem>(&self->menu_[place]) : nullptr;
        if (item && item->enabled) {
            const auto action = item->action; // the menu may go while it runs
            action();
        }
    });
}

void StatusItem::activate() {
    const auto found = std::find_if(menu_.begin(), menu_.end(), [](const auto& entry) {
        const auto* item = std::get_if<MenuItem>(&entry);
        return item && item->isDefault;
    });
    choose(static_cast<std::size_t>(found - menu_.begin()));
}

void StatusItem::openMenu(const QPoint& place) {
    window_ = std::make_unique<QMenu>();
    for (std::size_t index = 0; index < menu_.size(); ++index) {
        const auto* item = std::get_if<MenuItem>(&menu_[index]);
        if (!item) {
            window_->addSeparator();
            continue;
        }
        QAction* const shown = window_->addAction(qtTitle(item->title));
        shown->setEnabled(item->enabled);
        QObject::connect(shown, &QAction::triggered, window_.get(), [this, index] { choose(index); });
    }
    window_->popup(place);
}

} // namespace kvn::host
