// SPDX-License-Identifier: MIT

#pragma once

#include "host/desktop/StatusItem.h"
#include "host/desktop/SystemTray.h"

#include <QAbstractButton>

namespace kvn::host {

/// The item as a window in the system tray of X11, which is there and gives it its place and size. Main
/// thread.
class TrayIcon final : public QAbstractButton, public ShownItem {
public:
    /// The tray and the item outlive this object.
    TrayIcon(const SystemTray& tray, StatusItem& item);

    void showPicture() override { update(); }
    void showDescription() override;
    void showMenu() override {} // it is made anew at each opening

private:
    QSize sizeHint() const override { return {22, 22}; }
    bool nativeEvent(const QByteArray& type, void* message, qintptr* result) override;
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

    const SystemTray& tray_;
    StatusItem& item_;
};

} // namespace kvn::host
