// SPDX-License-Identifier: MIT

#include "host/desktop/X11Keyboard.h"

#include "host/desktop/X11Display.h"

#include <algorithm>

namespace kvn::host {

X11Keyboard::X11Keyboard(xcb_connection_t& connection) : firstKey_(xcb_get_setup(&connection)->min_keycode) {
    const auto count = static_cast<std::uint8_t>(xcb_get_setup(&connection)->max_keycode - firstKey_ + 1);
    const auto symbolsAsked = xcb_get_keyboard_mapping(&connection, firstKey_, count);
    const auto modifiersAsked = xcb_get_modifier_mapping(&connection);
    const X11Answer<xcb_get_keyboard_mapping_reply_t> symbols(
        xcb_get_keyboard_mapping_reply(&connection, symbolsAsked, nullptr));
    const X11Answer<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(&connection, modifiersAsked, nullptr));
    if (!symbols || !modifiers) {
        return;
    }
    symbolsOfKey_ = symbols->keysyms_per_keycode;
    const xcb_keysym_t* const first = xcb_get_keyboard_mapping_keysyms(symbols.get());
    symbols_.assign(first, first + xcb_get_keyboard_mapping_keysyms_length(symbols.get()));
    const xcb_keycode_t* keys = xcb_get_modifier_mapping_keycodes(modifiers.get());
    for (auto& modifier : modifiers_) {
        modifier.assign(keys, keys + modifiers->keycodes_per_modifier);
        keys += modifiers->keycodes_per_modifier;
    }
}

std::optional<xcb_keycode_t> X11Keyboard::keyOf(std::uint32_t symbol) const {
    for (std::size_t level = 0; level < symbolsOfKey_; ++level) {
        for (std::size_t at = level; at < symbols_.size(); at += symbolsOfKey_) {
            if (symbols_[at] == symbol) {
                return static_cast<xcb_keycode_t>(firstKey_ + at / symbolsOfKey_);
            }
        }
    }
    return std::nullopt;
}

std::uint16_t X11Keyboard::modifierOf(std::initializer_list<std::uint32_t> symbols) const {
    for (std::size_t modifier = 0; modifier < modifiers_.size(); ++modifier) {
        for (const xcb_keycode_t key : modifiers_[modifier]) {
            if (std::any_of(symbols.begin(), symbols.end(),
                            [&](auto symbol) { return sends(key, symbol); })) {
                return static_cast<std::uint16_t>(1U << modifier);
            }
        }
    }
    return 0;
}

bool X11Keyboard::sends(xcb_keycode_t key, std::uint32_t symbol) const {
    if (key < firstKey_) {
        return false; // an empty place in the table of modifiers
    }
    const std::size_t from = (key - firstKey_) * symbolsOfKey_;
    const std::size_t to = std::min(from + symbolsOfKey_, symbols_.size());
    return from < to && std::find(&symbols_[from], symbols_.data() + to, symbol) != symbols_.data() + to;
}

} // namespace kvn::host
