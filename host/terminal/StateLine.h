#pragma once

#include "host/terminal/Style.h"

#include <string>
#include <utility>
#include <vector>

namespace kvn::host {

/// What the picture of the status item says.
enum class IconState { Hidden, Blank, Connected, NotConnected, Controlled };

/// Names and values, in the order in which they are shown; those without a value are not.
using StateDetails = std::vector<std::pair<std::string, std::string>>;

struct TerminalState {
    std::string text; // empty while it is not known
    StateDetails details;
    IconState icon = IconState::Hidden;
};

/// The state in one harmless line: "status: TEXT | server: S | icon: connected".
std::string stateLine(const TerminalState& state, const Style& style);

} // namespace kvn::host
