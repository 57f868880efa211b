// SPDX-License-Identifier: MIT

#pragma once

namespace kvn::host {

/// The knowledge of the program that keeps the list of status notifier items on the session bus.
enum class Watcher {
    Unknown,  // the bus has not said yet if there is one, or the last one has just gone
    None,     // there is none
    Asked,    // it has not yet said if a panel shows its items
    Usable,   // a panel shows its items
    Unusable, // no panel shows its items, it refuses them, or it does not answer
};

/// Where the status item is shown.
enum class Panel {
    Nowhere,
    Bus,  // as a status notifier item of the session bus
    Tray, // as a window in the system tray of X11
};

/// Decides where the item is shown. `present` stays where the watcher is to answer within a moment, so that
/// an icon does not jump between the two at the start of a panel that has both. An item that only a watcher
/// could take is offered to it whatever it says: a panel that comes later finds it there.
constexpr Panel choosePanel(Watcher watcher, bool hasTray, Panel present) {
    switch (watcher) {
    case Watcher::Usable:
        return Panel::Bus;
    case Watcher::Asked:
        return hasTray ? present : Panel::Bus;
    case Watcher::Unusable:
        return hasTray ? Panel::Tray : Panel::Bus;
    case Watcher::None:
        return hasTray ? Panel::Tray : Panel::Nowhere;
    case Watcher::Unknown:
        break;
    }
    return hasTray && present == Panel::Tray ? Panel::Tray : Panel::Nowhere;
}

} // namespace kvn::host
