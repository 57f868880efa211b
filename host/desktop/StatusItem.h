// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/StatusBar.h"

#include <QImage>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

QT_BEGIN_NAMESPACE
class QMenu;
class QPoint;
QT_END_NAMESPACE

namespace kvn::host {

/// The status item itself, whatever panel shows it. Main thread.
class StatusItem : public std::enable_shared_from_this<StatusItem> {
public:
    /// The main loop outlives this object, and so does the menu.
    StatusItem(MainLoop& mainLoop, const Menu& menu);
    ~StatusItem();
    StatusItem(const StatusItem&) = delete;
    StatusItem& operator=(const StatusItem&) = delete;

    const Menu& menu() const { return menu_; }

    /// Runs the action at this place of the menu, from the main loop, if it is enabled then and the item is
    /// still shown. Ignored while another choice waits, so that no program can fill the loop with choices.
    void choose(std::size_t place);

    /// Chooses the item of the menu that a click stands for.
    void activate();

    /// Opens the menu as a window at this place of the screen.
    void openMenu(const QPoint& place);

    std::vector<QImage> pictures; // the same in ascending sizes; empty before the first
    std::string description;      // the state in words, for the pointer and for a screen reader

private:
    MainLoop& mainLoop_;
    const Menu& menu_;
    bool isChosen_ = false; // and the choice waits
    std::unique_ptr<QMenu> window_;
};

/// A place where the item is shown, until its destruction. Must not be destroyed by what it calls itself.
class ShownItem {
public:
    virtual ~ShownItem() = default;

    // Called after a change of the item.
    virtual void showPicture() = 0;
    virtual void showDescription() = 0;
    virtual void showMenu() = 0;
};

} // namespace kvn::host
