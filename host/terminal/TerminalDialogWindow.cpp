#include "host/terminal/TerminalDialogWindow.h"

#include "host/terminal/DialogControls.h"
#include "host/terminal/DialogLayout.h"

#include <utility>

namespace kvn::host {

namespace {

Choice noSuchNumber() { return {"error: the dialog has no such number", nullptr}; }

} // namespace

void TerminalDialogWindow::show(const std::string& title, DialogRows rows, const Rect&) {
    title_ = title;
    rows_ = std::move(rows);
    terminal_.open(*this, [this] { close(); });
}

void TerminalDialogWindow::update(DialogRows rows) {
    if (isVisible()) {
        rows_ = std::move(rows);
        terminal_.dialogChanged();
    }
}

void TerminalDialogWindow::close() {
    if (!isVisible()) {
        return;
    }
    terminal_.remove(*this);
    if (const auto handler = onClose_) { // a copy: it may set another
        handler();
    }
}

std::string TerminalDialogWindow::text(const Style& style) const { return dialogText(title_, rows_, style); }

Choice TerminalDialogWindow::choose(std::size_t number) const {
    const DialogRow* control = controlAt(rows_, number);
    return control ? press(*control) : noSuchNumber();
}

Choice TerminalDialogWindow::set(std::size_t number, const std::string& value) const {
    const DialogRow* control = controlAt(rows_, number);
    return control ? setTo(*control, value) : noSuchNumber();
}

} // namespace kvn::host
