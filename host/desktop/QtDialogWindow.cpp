// SPDX-License-Identifier: MIT

#include "host/desktop/QtDialogWindow.h"

#include "host/DialogRendering.h"
#include "host/desktop/QtText.h"
#include "host/posix/Signals.h"

#include <QPointer>
#include <utility>

namespace kvn::host {

void QtDialogWindow::show(const std::string& title, DialogLines lines, const DialogPlace& place) {
    finishEditing(); // of the lines shown so far
    rows_.clear();
    if (!panel_) {
        makePanel();
    }
    panel_->setWindowTitle(qtText(title));
    showLines(lines);
    panel_->moveTo(place);
    panel_->beginAtTop(rows_);
    panel_->present(place.takesKeyboard);
}

void QtDialogWindow::update(DialogLines lines) {
    if (isVisible()) {
        showLines(lines);
        panel_->growToRows();
    }
}

void QtDialogWindow::close() {
    if (isVisible()) {
        finishEditing();
    }
    if (!isVisible()) { // also when a handler has closed the window because of the value
        return;
    }
    rows_.clear();
    panel_.reset();
    callCopy(onClose_);
}

void QtDialogWindow::makePanel() {
    const SignalsBlocked blocked; // in the threads that the toolkit starts
    panel_ = std::make_unique<QtDialogPanel>([this] {
        // Not at once: handlers may throw, and the window is still in use.
        mainLoop_.post([this, panel = QPointer<QtDialogPanel>(panel_.get())] {
            if (panel) {
                close();
            }
        });
    });
}

void QtDialogWindow::showLines(const DialogLines& lines) {
    const QtRowMaker maker{panel_->content(), mainLoop_, bundle_};
    rows_ = rowsShowing(lines, std::move(rows_),
                        [&](const DialogLine& line) { return makeDialogRow(line, maker); });
    panel_->placeRows(rows_);
}

void QtDialogWindow::finishEditing() {
    for (std::size_t place = 0; place < rows_.size(); ++place) { // a handler may change the rows
        rows_[place]->finish();
    }
}

} // namespace kvn::host
