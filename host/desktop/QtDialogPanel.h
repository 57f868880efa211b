// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/desktop/QtDialogRow.h"

#include <QDialog>
#include <functional>
#include <memory>
#include <vector>

class QGridLayout;
class QScreen;
class QScrollArea;

namespace kvn::host {

/// The window of a dialog: places rows from top to bottom, with their texts in one column and their controls
/// in another. Grows with its rows as far as the screen allows, and scrolls beyond that. Main thread.
class QtDialogPanel final : public QDialog {
public:
    using Rows = std::vector<std::unique_ptr<QtDialogRow>>;

    /// `closeRequested` is called when the user asks to close the window, which stays open by itself.
    explicit QtDialogPanel(std::function<void()> closeRequested);

    /// The parent of the widgets of rows.
    QWidget& content() { return *content_; }

    /// Places the rows, in place of those placed before.
    void placeRows(const Rows& rows);

    /// Moves the window to the place, on the screen with the pointer. The window is larger than the place if
    /// its rows need that.
    void moveTo(const DialogPlace& place);

    /// Enlarges the window if its rows need more room than before.
    void growToRows();

    /// Shows the beginning, with the focus on the first control that can be changed.
    void beginAtTop(const Rows& rows);

    /// Brings the window to the front, where the user's keyboard may go to it or stay where it is.
    void present(bool takesKeyboard);

private:
    void reject() override { closeRequested_(); } // by the Escape key or the window's button
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

    void alignTexts(int width);
    int widthForRows() const;
    QMargins frame() const;
    QSize wantedSize(const QScreen& screen);
    void setGeometryWithin(const QScreen& screen, QRect rect);

    const std::function<void()> closeRequested_;
    QScrollArea* const scroller_;
    QWidget* const content_;
    QGridLayout* layout_ = nullptr;
    DialogPlace place_;
    QSize wanted_;         // for the rows, at the last time
    int heightOfRows_ = 0; // at that time
};

} // namespace kvn::host
