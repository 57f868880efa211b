// SPDX-License-Identifier: MIT

#include "host/desktop/TrayIcon.h"

#include <QContextMenuEvent>
#include <QPainter>
#include <algorithm>

namespace kvn::host {

TrayIcon::TrayIcon(const SystemTray& tray, StatusItem& item) : tray_(tray), item_(item) {
    setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    setAttribute(Qt::WA_TranslucentBackground, tray_.wantsAlpha());
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("KvnGUIAgent"));
    setMinimumSize(16, 16);
    setGeometry(QRect(QPoint(-100, -100), sizeHint())); // seen by nobody until the tray has taken it
    QObject::connect(this, &QAbstractButton::clicked, this, [this] { item_.activate(); });
    showDescription();
    tray_.dock(winId());
    show();
}

void TrayIcon::showDescription() {
    const auto text = QString::fromStdString(item_.description);
    setToolTip(text);
    setAccessibleName(text);
}

/// Paints the largest picture that there is room for, without scaling it.
void TrayIcon::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!testAttribute(Qt::WA_TranslucentBackground)) {
        painter.drawImage(rect(), tray_.backgroundOf(winId()));
    }
    if (item_.pictures.empty()) {
        return;
    }
    const QSizeF room = QSizeF(size()) * devicePixelRatioF();
    const QImage* picture = &item_.pictures.front();
    for (const QImage& larger : item_.pictures) {
        if (larger.width() <= std::min(room.width(), room.height()) + 0.5) {
            picture = &larger;
        }
    }
    const QSizeF extent = QSizeF(picture->size()) / devicePixelRatioF();
    const QPointF corner((width() - extent.width()) / 2, (height() - extent.height()) / 2);
    // On whole pixels of the screen, or the lines would be blurred.
    const QPointF pixels = (corner * devicePixelRatioF()).toPoint();
    painter.drawImage(QRectF(pixels / devicePixelRatioF(), extent), *picture);
}

void TrayIcon::mouseReleaseEvent(QMouseEvent* event) {
    QAbstractButton::mouseReleaseEvent(event);
    if (event->button() == Qt::MiddleButton) {
        item_.activate();
    }
}

void TrayIcon::contextMenuEvent(QContextMenuEvent* event) { item_.openMenu(event->globalPos()); }

} // namespace kvn::host
