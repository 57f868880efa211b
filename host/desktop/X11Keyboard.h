// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace kvn::host {

/// The symbols and modifiers of a display's keys at one moment.
class X11Keyboard {
public:
    /// Asks the display.
    explicit X11Keyboard(xcb_connection_t& connection);

    /// Returns the key that sends the symbol with the fewest modifiers; nullopt without one.
    std::optional<xcb_keycode_t> keyOf(std::uint32_t symbol) const;

    /// Returns the modifier that a key with one of the symbols sets; 0 without one.
    std::uint16_t modifierOf(std::initializer_list<std::uint32_t> symbols) const;

private:
    bool sends(xcb_keycode_t key, std::uint32_t symbol) const;

    xcb_keycode_t firstKey_ = 0;
    std::size_t symbolsOfKey_ = 0;
    std::vector<xcb_keysym_t> symbols_;
    std::array<std::vector<xcb_keycode_t>, 8> modifiers_; // their keys; a modifier's mask has its place's bit
};

} // namespace kvn::host
