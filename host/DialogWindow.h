// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace kvn::host {

// A dialog is a list of lines from top to bottom. A line has a text, and beside it a control or none.
// Handlers are called on the main thread when the user changes something; a control that is not enabled is
// shown and cannot be changed.

/// A text to read, which the line's text labels.
struct DialogValue {
    std::string text;
};

/// A table below the line's text.
struct DialogTable {
    std::vector<std::string> titles;
    std::vector<std::vector<std::string>> rows;
};

struct DialogCheckBox {
    std::string label;
    bool enabled = true;
    bool checked = false;
    std::function<void(bool)> onChange;
};

/// The path of a folder, which the line's text labels.
struct DialogFolder {
    bool enabled = true;
    std::string path;
    std::function<void(const std::string&)> onChange;
};

/// A day and a time, shown as local time to the minute, which the line's text labels.
struct DialogDate {
    bool enabled = true;
    std::chrono::system_clock::time_point date;
    std::function<void(std::chrono::system_clock::time_point)> onChange;
};

struct DialogButton {
    std::string title;
    std::function<void()> onPress;
};

using DialogControl = std::variant<std::monostate, DialogValue, DialogTable, DialogCheckBox, DialogFolder,
                                   DialogDate, DialogButton>;

struct DialogLine {
    /// Unique within the dialog. A line with the same id in an update is the same line: a renderer changes
    /// its control in place, and keeps the focus and a value that the user has not finished typing.
    std::string id;
    std::string text;
    DialogControl control = std::monostate();
};
using DialogLines = std::vector<DialogLine>;

/// The place where a window opens, and the size of its content, in points. Renderers compute the position.
struct DialogPlace {
    enum class Anchor {
        TopCentre, // centred between the sides; the margin is above the content, in the visible screen
        TopRight,  // the margin is between the whole window and the top and right edges of its screen
    };
    Anchor anchor = Anchor::TopCentre;
    double margin = 0;
    double width = 0;
    double height = 0;
    bool takesKeyboard = true; // false for a window that comes up by itself
};

/// A window of the agent. Renders the lines that it is given and contains no logic. Main thread.
class DialogWindow {
public:
    virtual ~DialogWindow() = default;

    /// Brings the window to the front with these lines, none of which is a line that was shown before.
    /// Content that is larger than the place scrolls.
    virtual void show(const std::string& title, DialogLines lines, const DialogPlace& place) = 0;

    /// Shows other lines in place of those shown. Does nothing while the window is closed.
    virtual void update(DialogLines lines) = 0;

    virtual bool isVisible() const = 0;

    /// Closes the window, which the user can do as well. In both cases a value that the user has not finished
    /// typing goes to its handler first; then the handler of `onClose` is called.
    virtual void close() = 0;
    virtual void onClose(std::function<void()> handler) = 0;
};

} // namespace kvn::host
