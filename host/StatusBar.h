// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace kvn::host {

/// An item of a menu. An item with an empty title keeps its place and can be chosen.
struct MenuItem {
    std::string title;
    std::function<void()> action;
    bool enabled = true;
    bool isDefault = false; // chosen by a click on the status item, where one does not open the menu
};
struct MenuSeparator {};
using Menu = std::vector<std::variant<MenuItem, MenuSeparator>>;

/// The picture of the status item. A graphical front end shows the file; a text front end shows a word for
/// the meaning.
struct StatusImage {
    enum class Meaning {
        Connected,    // shown as a template, in the colour of the bar's text
        NotConnected, // shown as a greyed template, or as a light grey copy where nothing greys templates
        Controlled,   // shown in its own colours
    };
    Meaning meaning = Meaning::NotConnected;
    std::string name; // in the bundle's resources
};

/// The agent's item in the system's status bar, which shows a picture and opens a menu. Renders the menu and
/// the picture that it is given, runs the menu's actions, and contains no logic. Main thread.
class StatusBar {
public:
    virtual ~StatusBar() = default;

    /// Shows an item with this menu, in place of an earlier one. Until the next `updateItem` it has no
    /// picture, or that of the last one. The menu stays valid until `removeItem`, or outlives the bar; its
    /// items change only before an `updateItem`.
    virtual void showItem(const Menu& menu) = 0;
    virtual void removeItem() = 0;

    /// Shows the picture, and the menu in its present state. Does nothing while there is no item.
    virtual void updateItem(const StatusImage& image) = 0;
};

} // namespace kvn::host
