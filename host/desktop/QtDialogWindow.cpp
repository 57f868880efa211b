// SPDX-License-Identifier: MIT

#include "host/desktop/QtDialogWindow.h"

namespace kvn::host {

void QtDialogWindow::show(const std::string&, DialogLines, const DialogPlace&) {}
void QtDialogWindow::update(DialogLines) {}
bool QtDialogWindow::isVisible() const { return false; }
void QtDialogWindow::close() {}

} // namespace kvn::host
