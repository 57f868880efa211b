// SPDX-License-Identifier: MIT

#include "host/macos/MacDialogWindow.h"

#include "host/DialogRendering.h"
#include "host/macos/Conversions.h"

#include <utility>

namespace kvn::host {

namespace {

DialogRect dialogRect(const NSRect& rect) {
    return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

NSRect nsRect(const DialogRect& rect) { return NSMakeRect(rect.x, rect.y, rect.width, rect.height); }

} // namespace

MacDialogWindow::~MacDialogWindow() { [panel_ orderOut:nil]; }

void MacDialogWindow::show(const std::string& title, DialogLines lines, const DialogPlace& place) {
    [panel_ endEditing]; // of the lines shown so far
    rows_.clear();
    panel_.title = nsString(title);
    showLines(lines);
    moveTo(place);
    [NSApp activateIgnoringOtherApps:YES]; // a window alone does not activate an accessory application
    [panel_ makeKeyAndOrderFront:nil];
    [panel_ orderFrontRegardless];
    [panel_ beginAtTop];
}

void MacDialogWindow::update(DialogLines lines) {
    if (isVisible()) {
        showLines(lines);
    }
}

void MacDialogWindow::close() {
    if (isVisible()) {
        [panel_ endEditing];
    }
    if (!isVisible()) { // also when a handler has closed the window because of the value
        return;
    }
    [panel_ orderOut:nil];
    callCopy(onClose_);
}

void MacDialogWindow::showLines(const DialogLines& lines) {
    rows_ = rowsShowing(lines, std::move(rows_), makeDialogRow);
    NSInteger place = 0;
    for (const auto& row : rows_) {
        [panel_ placeRow:row->view() label:row->label() at:place++];
    }
}

void MacDialogWindow::moveTo(const DialogPlace& place) {
    NSScreen* const screen = NSScreen.mainScreen; // all zero when there is none
    const NSRect frame = [panel_ frameRectForContentRect:NSMakeRect(0, 0, place.width, place.height)];
    const DialogRect content =
        contentRect(place, {dialogRect(screen.frame), dialogRect(screen.visibleFrame)}, dialogRect(frame));
    [panel_ setFrame:[panel_ frameRectForContentRect:nsRect(content)] display:YES animate:panel_.visible];
}

} // namespace kvn::host
