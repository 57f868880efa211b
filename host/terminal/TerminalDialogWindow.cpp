// SPDX-License-Identifier: MIT

#include "host/terminal/TerminalDialogWindow.h"

#include "host/terminal/DialogControls.h"
#include "host/terminal/DialogLayout.h"

#include <utility>

namespace kvn::host {

namespace {

Choice noSuchNumber() { return {"error: the dialog has no such number", nullptr}; }

} // namespace

void TerminalDialogWindow::show(const std::string& title, DialogLines lines, const DialogPlace&) {
    title_ = title;
    lines_ = std::move(lines);
    terminal_.open(*this, [this] { close(); });
}

void TerminalDialogWindow::update(DialogLines lines) {
    if (isVisible()) {
        lines_ = std::move(lines);
        terminal_.dialogChanged();
    }
}

void TerminalDialogWindow::close() {
    if (!isVisible()) {
        return;
    }
    terminal_.remove(*this);
    if (const auto handler = onClose_) { // a copy: the handler may set another
        handler();
    }
}

std::string TerminalDialogWindow::text(const Style& style) const { return dialogText(title_, lines_, style); }

std::vector<std::string> TerminalDialogWindow::choices() const {
    std::vector<std::string> names;
    for (const DialogLine& line : lines_) {
        if (hasNumber(line)) {
            names.push_back(nameOf(line));
        }
    }
    return names;
}

Choice TerminalDialogWindow::choose(std::size_t number) const {
    const DialogLine* line = numberedLine(lines_, number);
    return line ? press(*line) : noSuchNumber();
}

Choice TerminalDialogWindow::set(std::size_t number, const std::string& value) const {
    const DialogLine* line = numberedLine(lines_, number);
    return line ? setTo(*line, value) : noSuchNumber();
}

} // namespace kvn::host
