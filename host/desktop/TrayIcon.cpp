// SPDX-License-Identifier: MIT

#include "host/desktop/TrayIcon.h"

#include <QContextMenuEvent>
#include <QPainter>
#include <QWindow>
#include <algorithm>

namespace kvn::host {

TrayIcon::TrayIcon(const SystemTray& tray, StatusItem& item) : tray_(tray), item_(item) {
    setWindowFlags(Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    setAttribute(Qt::WA_TranslucentBackground, tray_.wantsAlpha());
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_AlwaysShowToolTips); // the window is never the active one
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("KvnGUIAgent"));
    resize(sizeHint());
    QObject::connect(this, &QAbstractButton::clicked, this, [this] { item_.activate(); });
    showDescription();
    const WId window = winId();
    windowHandle()->setMinimumSize(sizeHint()); // which the tray reads
    tray_.dock(window);
}

void TrayIcon::showDescription() {
    const auto text = QString::fromStdString(item_.description);
    setToolTip(text);
    setAccessibleName(text);
}

/// Shows the window only when it has its place in the tray: trays do not give a window its size if it becomes
/// visible while they take it.
bool TrayIcon::nativeEvent(const QByteArray& type, void* message, qintptr* result) {
    if (tray_.tellsOfDocking(message)) {
        show();
    }
    return QAbstractButton::nativeEvent(type, message, result);
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
