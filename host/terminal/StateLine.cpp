#include "host/terminal/StateLine.h"

#include "host/terminal/TextLayout.h"

namespace kvn::host {

namespace {

std::string iconText(IconState icon, const Style& style) {
    switch (icon) {
    case IconState::Connected:
        return inColour("connected", Colour::Green, style);
    case IconState::Controlled:
        return inColour("controlled", Colour::Yellow, style);
    case IconState::NotConnected:
        return inColour("not connected", Colour::Red, style);
    case IconState::Blank:
        return "blank";
    case IconState::Hidden:
        break;
    }
    return "hidden";
}

} // namespace

std::string stateLine(const TerminalState& state, const Style& style) {
    std::string line;
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty()) {
            line += (line.empty() ? "" : " | ") + name + ": " + value;
        }
    };
    add("status", harmless(state.text));
    for (const auto& [name, value] : state.details) {
        add(name, harmless(value));
    }
    add("icon", iconText(state.icon, style));
    return line;
}

} // namespace kvn::host
