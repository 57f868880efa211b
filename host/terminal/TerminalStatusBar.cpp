#include "host/terminal/TerminalStatusBar.h"

#include "host/terminal/TextLayout.h"

#include <algorithm>

namespace kvn::host {

namespace {

constexpr char kControlledIcon[] = "ControlledStatusIcon";

bool isSeparator(const MenuItem& item) { return item.title.empty(); }

IconState iconState(const StatusImage& image) {
    if (image.look == StatusImage::Look::DisabledTemplate || image.look == StatusImage::Look::Grey) {
        return IconState::NotConnected;
    }
    return image.name == kControlledIcon ? IconState::Controlled : IconState::Connected;
}

} // namespace

void TerminalStatusBar::showItem(const Menu& menu) {
    menu_ = &menu;
    terminal_.setMenu(this);
    terminal_.showIcon(IconState::Blank);
}

void TerminalStatusBar::removeItem() {
    if (menu_) {
        menu_ = nullptr;
        terminal_.setMenu(nullptr);
        terminal_.showIcon(IconState::Hidden);
    }
}

void TerminalStatusBar::updateItem(const StatusImage& image) {
    if (menu_) {
        terminal_.showIcon(iconState(image));
    }
}

std::string TerminalStatusBar::text(const Style& style) const {
    const auto items = std::count_if(menu_->begin(), menu_->end(), std::not_fn(isSeparator));
    const std::size_t numberWidth = std::to_string(items).size();
    std::string text = "== Menu ==";
    std::size_t number = 0;
    for (const MenuItem& item : *menu_) {
        if (isSeparator(item)) {
            text += "\n " + std::string(numberWidth + 2, '-');
            continue;
        }
        const std::string digits = std::to_string(++number);
        const std::string line = std::string(1 + numberWidth - digits.size(), ' ') + digits + "  " +
                                 harmless(item.title) + (item.enabled ? "" : " (disabled)");
        text += "\n" + (item.enabled ? line : inColour(line, Colour::Grey, style));
    }
    return text;
}

Choice TerminalStatusBar::choose(std::size_t number) const {
    for (const MenuItem& item : *menu_) {
        if (!isSeparator(item) && --number == 0) {
            return item.enabled ? Choice{"ok: " + item.title, item.action}
                                : Choice{"error: " + item.title + ": is disabled", nullptr};
        }
    }
    return {"error: the menu has no such number", nullptr};
}

Choice TerminalStatusBar::set(std::size_t, const std::string&) const {
    return {"error: items of the menu take no value", nullptr};
}

} // namespace kvn::host
