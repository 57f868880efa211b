// SPDX-License-Identifier: MIT

#include "host/macos/MacStatusBar.h"

#include "core/logging/CNSLog.h"
#include "host/macos/Conversions.h"
#include "host/macos/KvnActionTarget.h"

#include <utility>

namespace kvn::host {

void MacStatusBar::showItem(const Menu& menu) {
    removeItem();
    menu_ = &menu;
    target_ = [[KvnActionTarget alloc] initWithAction:[this](id sender) {
        const auto place = static_cast<std::size_t>(static_cast<NSMenuItem*>(sender).tag);
        const auto action = std::get<MenuItem>((*menu_)[place]).action; // the menu may go while it runs
        action();
    }];
    NSMenu* const shown = [[NSMenu alloc] initWithTitle:@""];
    shown.autoenablesItems = NO;
    NSInteger tag = 0;
    for (const auto& entry : menu) {
        NSMenuItem* const item = std::holds_alternative<MenuSeparator>(entry)
                                     ? [NSMenuItem separatorItem]
                                     : [[NSMenuItem alloc] initWithTitle:@""
                                                                  action:@selector(performKvnAction:)
                                                           keyEquivalent:@""];
        item.target = target_;
        item.tag = tag++;
        [shown addItem:item];
    }
    item_ = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
    item_.button.imagePosition = NSImageOnly;
    item_.menu = shown;
    showMenu();
    showDescription();
}

void MacStatusBar::removeItem() {
    if (!item_) {
        return;
    }
    [item_.menu cancelTracking]; // an open menu would stay on the screen
    [NSStatusBar.systemStatusBar removeStatusItem:item_];
    item_ = nil;
    target_ = nil; // ends the action of an item that was chosen before
    menu_ = nullptr;
}

void MacStatusBar::updateItem(const StatusImage& image) {
    if (!item_) {
        return;
    }
    using Meaning = StatusImage::Meaning;
    NSImage* const picture = [NSImage imageNamed:nsString(image.name)];
    if (!picture && std::exchange(missingPicture_, image.name) != image.name) {
        Kvs::OCNSLog("The bundle has no picture %@", image.name);
    }
    // The picture is shared by all who load this name. Each name is either a template or not.
    [picture setTemplate:image.meaning != Meaning::Controlled];
    item_.button.image = picture;
    item_.button.appearsDisabled = image.meaning == Meaning::NotConnected;
    showMenu();
}

void MacStatusBar::showMenu() {
    for (std::size_t place = 0; place < menu_->size(); ++place) {
        if (const auto* item = std::get_if<MenuItem>(&(*menu_)[place])) {
            NSMenuItem* const shown = [item_.menu itemWithTag:static_cast<NSInteger>(place)];
            shown.title = nsString(item->title);
            shown.enabled = item->enabled;
        }
    }
}

void MacStatusBar::describe(const std::string& text) {
    // An equal text is not set again, which would hide the one under the pointer.
    if (std::exchange(description_, text) != text) {
        showDescription();
    }
}

void MacStatusBar::showDescription() {
    item_.button.toolTip = nsString(description_);
    item_.button.accessibilityLabel = nsString(description_);
}

} // namespace kvn::host
