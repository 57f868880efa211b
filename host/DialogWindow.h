#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace kvn::host {

// What a dialog consists of, from top to bottom. Handlers are called on the main thread when the person
// changes something; what is not enabled is shown and cannot be changed.

struct DialogText {
    std::string text;
};

struct DialogField {
    std::string label;
    std::string value;
};

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

struct DialogFolder {
    std::string label;
    bool enabled = true;
    std::string path;
    std::function<void(const std::string&)> onChange;
};

struct DialogDate {
    std::string label;
    bool enabled = true;
    std::chrono::system_clock::time_point date;
    std::function<void(std::chrono::system_clock::time_point)> onChange;
};

struct DialogButton {
    std::string title;
    std::function<void()> onPress;
};

using DialogRow = std::variant<DialogText, DialogField, DialogTable, DialogCheckBox, DialogFolder, DialogDate,
                               DialogButton>;
using DialogRows = std::vector<DialogRow>;

/// In points; the origin is the bottom-left corner.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// A window of the agent. Draws the rows that it is given; decides nothing. Main thread.
class DialogWindow {
public:
    virtual ~DialogWindow() = default;

    /// The screen's part that windows may cover; of zero size when there is no screen.
    virtual Rect visibleScreen() const = 0;

    /// Brings the window to the front with this content, which takes the given place.
    virtual void show(const std::string& title, DialogRows rows, const Rect& content) = 0;

    /// Draws other rows in place of those shown; nothing happens while the window is closed.
    virtual void update(DialogRows rows) = 0;

    virtual bool isVisible() const = 0;

    /// Closes the window, as the person may; the handler of `onClose` is told of either.
    virtual void close() = 0;
    virtual void onClose(std::function<void()> handler) = 0;
};

} // namespace kvn::host
