// SPDX-License-Identifier: MIT

#pragma once

#include "host/StatusBar.h"
#import <AppKit/AppKit.h>
#include <string>

@class KvnActionTarget;

namespace kvn::host {

/// The status item in the menu bar: a button with a picture, which opens the menu.
class MacStatusBar final : public StatusBar {
public:
    MacStatusBar() = default;
    ~MacStatusBar() override { removeItem(); }
    MacStatusBar(const MacStatusBar&) = delete;
    MacStatusBar& operator=(const MacStatusBar&) = delete;

    void showItem(const Menu& menu) override;
    void removeItem() override;
    void updateItem(const StatusImage& image) override;

    /// Sets the text that the button shows under the pointer and that a screen reader speaks for the picture.
    void describe(const std::string& text);

private:
    void showDescription();
    void showMenu();

    NSStatusItem* item_ = nil;
    KvnActionTarget* target_ = nil; // of the menu's items, whose tags are their places in `menu_`
    const Menu* menu_ = nullptr;    // while there is an item
    std::string description_;
    std::string missingPicture_; // its name, which is logged once
};

} // namespace kvn::host
