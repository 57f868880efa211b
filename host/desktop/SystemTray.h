// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractNativeEventFilter>
#include <QImage>
#include <QWindow>
#include <functional>
#include <xcb/xcb.h>

namespace kvn::host {

/// The system tray of the X11 screen: the owner of the selection _NET_SYSTEM_TRAY_Sn, which takes windows of
/// other programs into its own. There is never one on a display of another kind. Main thread.
class SystemTray final : private QAbstractNativeEventFilter {
public:
    /// `changed` is called when a tray comes or goes, but not by the constructor; it must not destroy this
    /// object. Between two trays there is always none.
    explicit SystemTray(std::function<void()> changed);
    ~SystemTray() override;
    SystemTray(const SystemTray&) = delete;
    SystemTray& operator=(const SystemTray&) = delete;

    bool isThere() const { return owner_ != XCB_NONE; }

    /// Returns true if the tray wants windows with an alpha channel. The others take its background.
    bool wantsAlpha() const;

    /// Asks the tray, which is there, to take the window and to show it.
    void dock(WId window) const;

    /// Returns true if this event of a window, of the toolkit's native kind, says that the tray has taken it.
    bool tellsOfDocking(const void* event) const;

    /// Returns the tray's background of a window, which lacks an alpha channel, in pixels of the screen; null
    /// while the window is not shown. Clears the window.
    QImage backgroundOf(WId window) const;

private:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    void find();
    void change(xcb_window_t owner);
    xcb_atom_t atom(const char* name) const;

    const std::function<void()> changed_;
    xcb_connection_t* connection_ = nullptr; // the toolkit's; null on other displays
    xcb_screen_t* screen_ = nullptr;
    xcb_atom_t selection_ = XCB_NONE;
    xcb_atom_t manager_ = XCB_NONE;
    xcb_atom_t embed_ = XCB_NONE;
    xcb_window_t owner_ = XCB_NONE;
};

} // namespace kvn::host
