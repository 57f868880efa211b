// SPDX-License-Identifier: MIT

#include "host/terminal/TerminalStatusBar.h"

#include <algorithm>
#include <utility>

namespace kvn::host {

namespace {

const MenuItem* itemIn(const Menu::value_type& entry) { return std::get_if<MenuItem>(&entry); }

} // namespace

void TerminalStatusBar::showItem(const Menu& menu) {
    menu_ = &menu;
    terminal_.setMenu(this);
    terminal_.showIcon("blank");
}

void TerminalStatusBar::removeItem() {
    if (menu_) {
        menu_ = nullptr;
        terminal_.setMenu(nullptr);
        terminal_.showIcon("hidden");
    }
}

void TerminalStatusBar::updateItem(const StatusImage& image) {
    if (!menu_) {
        return;
    }
    switch (image.meaning) {
    case StatusImage::Meaning::Connected:
        return terminal_.showIcon("connected", Colour::Green);
    case StatusImage::Meaning::NotConnected:
        return terminal_.showIcon("not connected", Colour::Red);
    case StatusImage::Meaning::Controlled:
        return terminal_.showIcon("controlled", Colour::Yellow);
    }
}

std::string TerminalStatusBar::title() const { return terminal_.localized("TerminalMenu"); }

std::string TerminalStatusBar::text(const Style& style) const {
    const auto items = std::count_if(menu_->begin(), menu_->end(), itemIn);
    const std::size_t numberWidth = std::to_string(items).size();
    std::string text = "== " + harmless(title()) + " ==";
    std::size_t number = 0;
    for (const auto& entry : *menu_) {
        const MenuItem* item = itemIn(entry);
        if (!item) {
            text += "\n " + std::string(numberWidth + 2, '-');
            continue;
        }
        const std::string digits = std::to_string(++number);
        std::string before = std::string(1 + numberWidth - digits.size(), ' ') + digits + "  ";
        const std::string title = item->title + (item->enabled ? "" : " (" + style.disabled + ")");
        for (std::string& line : wrapped(title, style.width - before.size())) {
            line.insert(0, std::exchange(before, std::string(before.size(), ' ')));
            text += "\n" + (item->enabled ? line : inColour(line, Colour::Grey, style));
        }
    }
    return text;
}

std::vector<std::string> TerminalStatusBar::choices() const {
    std::vector<std::string> titles;
    for (const auto& entry : *menu_) {
        if (const MenuItem* item = itemIn(entry)) {
            titles.push_back(item->title);
        }
    }
    return titles;
}

Choice TerminalStatusBar::choose(std::size_t number) const {
    for (const auto& entry : *menu_) {
        const MenuItem* item = itemIn(entry);
        if (item && --number == 0) {
            return item->enabled ? Choice{"ok: " + item->title, item->action}
                                 : Choice{"error: " + item->title + ": is disabled", nullptr};
        }
    }
    return {"error: the menu has no such number", nullptr};
}

Choice TerminalStatusBar::set(std::size_t, const std::string&) const {
    return {"error: items of the menu take no value", nullptr};
}

} // namespace kvn::host
