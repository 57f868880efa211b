// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/DialogWindow.h"
#include "host/MainLoop.h"

#include <QLabel>
#include <memory>
#include <vector>

namespace kvn::host {

/// The things that rows are made with. All outlive the rows.
struct QtRowMaker {
    QWidget& parent; // of the row's widgets
    MainLoop& mainLoop;
    const Bundle& bundle;
};

/// A line of a dialog in a window: its text, and its control beside or below the text. Owns both, and leaves
/// their places to the window. Main thread.
///
/// No exception may pass through the toolkit, so a task of the main loop tells a line's handler what the user
/// has done. A handler may destroy the row.
class QtDialogRow {
public:
    enum class Arrangement { TextOnly, Beside, Below };

    virtual ~QtDialogRow();
    QtDialogRow(const QtDialogRow&) = delete;
    QtDialogRow& operator=(const QtDialogRow&) = delete;

    const DialogLine& line() const { return line_; }

    /// Shows a line with the same id and the same kind of control.
    void update(const DialogLine& line);

    /// Gives a value that the user has changed, or has not finished typing, to the line's handler at once.
    virtual void finish() {}

    Arrangement arrangement() const { return arrangement_; }
    QLabel& text() const { return *text_; }
    QWidget* control() const { return control_; } // null if there is only the text

    /// Returns the widgets that take the keyboard, in the order of the Tab key.
    const std::vector<QWidget*>& tabStops() const { return tabStops_; }

protected:
    QtDialogRow(const DialogLine& line, const QtRowMaker& maker, Arrangement arrangement);

    // Called once, by the constructors of the kinds of rows.
    void setControl(QWidget* control, std::vector<QWidget*> tabStops);
    void show();

    void alignText(Qt::Alignment vertical);

    /// Shows the control of `line_`.
    virtual void showControl() = 0;

    /// Calls the slot for each signal of the widget, until the row is destroyed.
    template <class Widget, class Signal, class Slot>
    void connect(Widget* widget, Signal signal, Slot slot) {
        QObject::connect(widget, signal, signals_.get(), std::move(slot));
    }

    /// Runs the task in the main loop if the row still exists then.
    void later(MainLoop::Task task);
    void finishLater() {
        isFinished_ = false;
        later([this] { finish(); });
    }

    /// Called by `finish` before it calls a handler.
    void setFinished() { isFinished_ = true; }

    /// Returns false if the control has a value that the user has chosen and `finish` has not yet taken. An
    /// update must not replace it.
    bool isFinished() const { return isFinished_; }

    DialogLine line_; // also has what the user has changed since the last update

private:
    const Arrangement arrangement_;
    MainLoop& mainLoop_;
    QLabel* const text_;
    QWidget* control_ = nullptr;
    std::vector<QWidget*> tabStops_;
    bool isFinished_ = true; // false while a task is to call `finish`
    std::unique_ptr<QObject> signals_ = std::make_unique<QObject>();
};

/// Returns true for a text that names the lines below it.
bool isHeading(const DialogLine& line);

// The factories of the kinds of rows.
std::unique_ptr<QtDialogRow> makeFolderRow(const DialogLine& line, const QtRowMaker& maker);
std::unique_ptr<QtDialogRow> makeDateRow(const DialogLine& line, const QtRowMaker& maker);
std::unique_ptr<QtDialogRow> makeTableRow(const DialogLine& line, const QtRowMaker& maker);

/// Returns a row for any line.
std::unique_ptr<QtDialogRow> makeDialogRow(const DialogLine& line, const QtRowMaker& maker);

} // namespace kvn::host
