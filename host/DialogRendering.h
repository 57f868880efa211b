// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

// The decisions that every graphical renderer of a dialog takes in the same way.

namespace kvn::host {

/// A rectangle in points. The origin is its lower left corner, and y grows upwards.
struct DialogRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double right() const { return x + width; }
    double top() const { return y + height; }
};

/// A screen, and the part of it that the system's bars leave free.
struct DialogScreen {
    DialogRect whole;
    DialogRect visible;
};

/// Returns the place of a window's content on the screen. `frame` is the frame of a window whose content is
/// at the origin and has the size of the place.
inline DialogRect contentRect(const DialogPlace& place, const DialogScreen& screen, const DialogRect& frame) {
    DialogRect content{0, 0, place.width, place.height};
    switch (place.anchor) {
    case DialogPlace::Anchor::TopCentre:
        content.x = screen.visible.x + (screen.visible.width - place.width) * 0.5;
        content.y = screen.visible.top() - place.margin - place.height;
        break;
    case DialogPlace::Anchor::TopRight:
        content.x = screen.whole.right() - place.margin - frame.right();
        content.y = screen.whole.top() - place.margin - frame.top();
        break;
    }
    return content;
}

/// Returns the rows that show the lines. A row in `shown` with the same id and the same kind of control is
/// updated in place; `make` builds each missing row, and the rows that are left over are destroyed.
/// A row has `const DialogLine& line() const` and `void update(const DialogLine&)`.
template <class Row, class Make>
std::vector<std::unique_ptr<Row>> rowsShowing(const DialogLines& lines,
                                              std::vector<std::unique_ptr<Row>> shown, Make make) {
    std::vector<std::unique_ptr<Row>> rows;
    for (const DialogLine& line : lines) {
        const auto same = std::find_if(shown.begin(), shown.end(), [&](const std::unique_ptr<Row>& row) {
            return row && row->line().id == line.id && row->line().control.index() == line.control.index();
        });
        if (same == shown.end()) {
            rows.push_back(make(line));
        } else {
            (*same)->update(line);
            rows.push_back(std::move(*same));
        }
    }
    return rows;
}

/// Returns the name by which a screen reader announces the line's control.
inline std::string spokenName(const DialogLine& line) {
    const auto* button = std::get_if<DialogButton>(&line.control);
    const auto* box = std::get_if<DialogCheckBox>(&line.control);
    const std::string own = button ? button->title : box ? box->label : "";
    return own + (own.empty() || line.text.empty() ? "" : ", ") + line.text;
}

/// Calls the handler, if there is one. The handler is a copy, as it may destroy the row that it belongs to:
/// the caller does not touch the row afterwards.
template <class Handler, class... Values>
void callCopy(Handler handler, Values... values) {
    if (handler) {
        handler(values...);
    }
}

} // namespace kvn::host
