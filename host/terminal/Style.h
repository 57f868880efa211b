#pragma once

#include <cstddef>
#include <string>

namespace kvn::host {

/// How the terminal is to be written on.
struct Style {
    std::size_t width = 80; // columns
    bool colours = false;
};

/// By the numbers that ECMA-48 terminals know them by.
enum class Colour { Red = 31, Green = 32, Yellow = 33, Grey = 90 };

inline std::string inColour(const std::string& text, Colour colour, const Style& style) {
    return style.colours ? "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m" : text;
}

} // namespace kvn::host
