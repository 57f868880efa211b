#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kvn::host {

/// An item of a menu; without a title it is a separator.
struct MenuItem {
    std::string title;
    std::function<void()> action;
    bool enabled = true;
};
using Menu = std::vector<MenuItem>;

/// The picture of the status item.
struct StatusImage {
    enum class Look {
        Plain,            // in its own colours
        Template,         // in the colour of the bar's text
        DisabledTemplate, // the same, and greyed by the item's button
        Grey,             // a light grey copy, for items that have no button
    };
    std::string name; // in the bundle's resources
    Look look = Look::Plain;
};

/// The agent's item in the system's status bar, which shows a picture and opens a menu. Renders what it is
/// given and carries out the menu's actions; decides nothing. Main thread.
class StatusBar {
public:
    virtual ~StatusBar() = default;

    /// Whether items have a button that can look disabled.
    virtual bool itemHasButton() const = 0;

    /// Shows an item with this menu and no picture yet, in place of an earlier one. The menu stays valid
    /// until `removeItem`, or outlives the bar; its items change only before an `updateItem`.
    virtual void showItem(const Menu& menu) = 0;
    virtual void removeItem() = 0;

    /// Shows the picture, and the menu as it now is; nothing happens while there is no item.
    virtual void updateItem(const StatusImage& image) = 0;
};

} // namespace kvn::host
