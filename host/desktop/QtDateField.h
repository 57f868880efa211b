// SPDX-License-Identifier: MIT

#pragma once

#include <QDateTimeEdit>
#include <chrono>
#include <string>

namespace kvn::host {

/// A field for a date and a time to the minute, in the form of the user's locale, with a calendar. A date
/// that is being typed becomes the field's date when the user has finished it.
class QtDateField final : public QDateTimeEdit {
public:
    explicit QtDateField(QWidget& parent);

    /// Returns the date that the field shows for the time: to the minute, and within its limits.
    QDateTime shownFor(std::chrono::system_clock::time_point time) const;

    /// Returns the text that the field shows for such a date.
    std::string textOf(const QDateTime& date) const;

    /// Returns the date's time; its seconds are 0.
    static std::chrono::system_clock::time_point timePoint(const QDateTime& date);

private:
    void keyPressEvent(QKeyEvent* event) override;
    void openCalendar();
    void wheelEvent(QWheelEvent* event) override;
};

} // namespace kvn::host
