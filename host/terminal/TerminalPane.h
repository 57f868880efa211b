// SPDX-License-Identifier: MIT

#pragma once

#include "host/terminal/TextLayout.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kvn::host {

/// The result of the user's choice: the answer in one line, and the action that follows it, which may be
/// empty.
struct Choice {
    std::string answer;
    std::function<void()> action;
};

/// A part of the user interface that is shown as text, with numbers from 1 to choose by. Main thread.
class TerminalPane {
public:
    virtual ~TerminalPane() = default;

    /// Returns the words by which the person knows the pane.
    virtual std::string title() const = 0;

    /// Returns the text in harmless lines, without the last line's end.
    virtual std::string text(const Style& style) const = 0;

    /// Returns the names of what can be chosen, in the order of the numbers.
    virtual std::vector<std::string> choices() const = 0;

    virtual Choice choose(std::size_t number) const = 0;
    virtual Choice set(std::size_t number, const std::string& value) const = 0;
};

} // namespace kvn::host
