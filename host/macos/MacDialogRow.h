// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#import <AppKit/AppKit.h>
#include <memory>
#include <string>

namespace kvn::host {

/// A line of a dialog in a window: its text, and its control beside or below the text. A handler that a row
/// calls may destroy the row. Main thread.
class MacDialogRow {
public:
    /// Takes the row out of its window.
    virtual ~MacDialogRow();
    MacDialogRow(const MacDialogRow&) = delete;
    MacDialogRow& operator=(const MacDialogRow&) = delete;

    const DialogLine& line() const { return line_; }

    /// Shows a line with the same id and the same kind of control.
    void update(const DialogLine& line);

    NSView* view() const { return view_; }

    /// Returns the text if it belongs in the column of the texts before controls, and nil otherwise.
    NSTextField* label() const { return isLabel_ ? text_ : nil; }

protected:
    explicit MacDialogRow(const DialogLine& line);

    /// Arrange the view of the row, once: the text with the controls beside it or with one view below it.
    void putBeside(NSArray<NSView*>* controls);
    void putBelow(NSView* control);

    /// Shows the control of `line_`. Called by `update`, and by the constructors of the kinds of rows.
    virtual void showControl() = 0;

    /// Shows all of `line_`.
    void show();

    DialogLine line_; // also has what the user has changed since the last update

private:
    NSTextField* const text_;
    NSView* view_ = nil;
    bool isLabel_ = false;
};

/// Sets a control's text. An equal text is not set again: that would end its selection.
void setText(NSControl* control, const std::string& text);

// The factories of the kinds of rows.
std::unique_ptr<MacDialogRow> makeFolderRow(const DialogLine& line);
std::unique_ptr<MacDialogRow> makeDateRow(const DialogLine& line);
std::unique_ptr<MacDialogRow> makeTableRow(const DialogLine& line);

/// Returns a row for any line.
std::unique_ptr<MacDialogRow> makeDialogRow(const DialogLine& line);

} // namespace kvn::host
