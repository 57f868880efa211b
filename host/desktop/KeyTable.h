// SPDX-License-Identifier: MIT

#pragma once

#include <X11/keysym.h>
#include <algorithm>
#include <cstdint>
#include <iterator>

// The meaning of `HotKeys::Key` on a Linux desktop.

namespace kvn::host {

/// A key that has no character.
struct NamedKey {
    std::uint32_t code; // virtual key code (Carbon)
    std::uint32_t symbol;
    const char* name; // in the shortcuts of the desktop portal
};
inline constexpr NamedKey kNamedKeys[] = {
    {123, XK_Left, "Left"}, {124, XK_Right, "Right"}, {125, XK_Down, "Down"}, {126, XK_Up, "Up"}};

/// A modifier key, which is on both sides of the keyboard.
struct ModifierKey {
    std::uint32_t mask; // Carbon
    std::uint32_t left; // symbols
    std::uint32_t right;
    const char* name; // in the shortcuts of the desktop portal
};
inline constexpr ModifierKey kModifierKeys[] = {{0x1000, XK_Control_L, XK_Control_R, "CTRL"},
                                                {0x0800, XK_Alt_L, XK_Alt_R, "ALT"},
                                                {0x0200, XK_Shift_L, XK_Shift_R, "SHIFT"},
                                                {0x0100, XK_Super_L, XK_Super_R, "LOGO"}};

/// The name of the key that `ModifierKey` calls LOGO, for users.
inline constexpr const char* kCommandKey = "Super";

/// The result for a key that is not in the tables (Carbon, eventHotKeyInvalidErr).
inline constexpr std::int32_t kUnknownKey = -9879;

/// Returns null for an unknown key, and for one with an unknown modifier.
inline const NamedKey* namedKey(std::uint32_t code, std::uint32_t modifiers) {
    for (const ModifierKey& modifier : kModifierKeys) {
        modifiers &= ~modifier.mask;
    }
    const auto* key = std::find_if(std::begin(kNamedKeys), std::end(kNamedKeys),
                                   [&](const NamedKey& named) { return named.code == code; });
    return modifiers == 0 && key != std::end(kNamedKeys) ? key : nullptr;
}

} // namespace kvn::host
