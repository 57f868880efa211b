// SPDX-License-Identifier: MIT

#pragma once

#include <QString>
#include <QWidget>
#include <string>

namespace kvn::host {

/// Bytes that are not UTF-8 become U+FFFD.
inline QString qtText(const std::string& text) { return QString::fromStdString(text); }

/// Returns a text for a control that takes "&" for the mark of a keyboard shortcut: here it is a character.
inline QString qtTitle(const std::string& text) {
    return qtText(text).replace(QLatin1Char('&'), QLatin1String("&&"));
}

/// Returns the side where the window's language begins a line, whatever the direction of a text or a control
/// is.
inline Qt::Alignment leadingSide(const QWidget& window) {
    return Qt::AlignAbsolute | (window.isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft);
}

} // namespace kvn::host
