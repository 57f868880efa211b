// SPDX-License-Identifier: MIT

#include "host/desktop/QtDateField.h"

#include <QCalendarWidget>
#include <QKeyEvent>
#include <QLocale>
#include <QMenu>
#include <QStyle>
#include <QStyleOptionComboBox>
#include <QToolButton>
#include <QWheelEvent>
#include <algorithm>

namespace kvn::host {
namespace {

/// Returns the locale's short form with all digits of the year: two would stand for a year of the last
/// century.
QString displayFormatOf(const QLocale& locale) {
    QString date = locale.dateFormat(QLocale::ShortFormat);
    if (!date.contains(QLatin1String("yyyy"))) {
        date.replace(QLatin1String("yy"), QLatin1String("yyyy"));
    }
    QString time = locale.timeFormat(QLocale::ShortFormat);
    if (const auto seconds = time.indexOf(QLatin1String("ss")); seconds > 0) {
        time.remove(seconds - 1, 3); // with the sign before them
    }
    return date + QLatin1Char(' ') + time;
}

/// Makes the calendar's menu of months a pop-up: the button's own way to show it runs a nested event loop, in
/// which a task could destroy the calendar.
void openMonthsWithoutLoop(QCalendarWidget& calendar) {
    auto* const button = calendar.findChild<QToolButton*>(QLatin1String("qt_calendar_monthbutton"));
    if (QMenu* const months = button ? button->menu() : nullptr) {
        button->setMenu(nullptr);
        QObject::connect(button, &QToolButton::clicked, months, [button, months] {
            months->popup(button->mapToGlobal(QPoint(0, button->height())));
        });
    }
}

} // namespace

QtDateField::QtDateField(QWidget& parent) : QDateTimeEdit(&parent) {
    setLayoutDirection(Qt::LeftToRight); // else the order of the numbers would be turned around
    setDisplayFormat(displayFormatOf(locale()));
    setKeyboardTracking(false);
    setFocusPolicy(Qt::StrongFocus);
    setContextMenuPolicy(Qt::NoContextMenu); // the field's own runs a nested event loop
    setCalendarPopup(true);
    openMonthsWithoutLoop(*calendarWidget());
}

QDateTime QtDateField::shownFor(std::chrono::system_clock::time_point time) const {
    const auto minutes = std::chrono::floor<std::chrono::minutes>(time.time_since_epoch());
    const auto date = QDateTime::fromMSecsSinceEpoch(std::chrono::milliseconds(minutes).count());
    return std::clamp(date, minimumDateTime(), maximumDateTime());
}

std::string QtDateField::textOf(const QDateTime& date) const { return textFromDateTime(date).toStdString(); }

std::chrono::system_clock::time_point QtDateField::timePoint(const QDateTime& date) {
    const std::chrono::milliseconds since(date.toMSecsSinceEpoch());
    return std::chrono::system_clock::time_point(std::chrono::floor<std::chrono::minutes>(since));
}

/// The keys that open a list open the calendar: the toolkit has none for it.
void QtDateField::keyPressEvent(QKeyEvent* event) {
    const bool opens =
        event->key() == Qt::Key_F4 || (event->key() == Qt::Key_Down && event->modifiers() == Qt::AltModifier);
    if (opens) {
        openCalendar();
    } else {
        QDateTimeEdit::keyPressEvent(event);
    }
}

/// Presses the arrow, which is the toolkit's only way.
void QtDateField::openCalendar() {
    QStyleOptionComboBox option;
    option.initFrom(this);
    const QRect arrow = style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxArrow, this);
    QMouseEvent press(QEvent::MouseButtonPress, arrow.center(), mapToGlobal(arrow.center()), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    mousePressEvent(&press);
}

/// The wheel scrolls the dialog: it must not change a date that it passes over.
void QtDateField::wheelEvent(QWheelEvent* event) {
    if (hasFocus()) {
        QDateTimeEdit::wheelEvent(event);
    } else {
        event->ignore();
    }
}

} // namespace kvn::host
