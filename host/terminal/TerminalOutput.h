// SPDX-License-Identifier: MIT

#pragma once

#include "host/terminal/TextLayout.h"

#include <string_view>

namespace kvn::host {

/// Standard output, with a prompt if standard input and output are a terminal. Main thread.
class TerminalOutput {
public:
    TerminalOutput();

    /// Returns the present width of the terminal's window, or 80 columns without one, and colours if the
    /// terminal has them and NO_COLOR is not set.
    Style style() const;

    /// Prints the harmless text and a line end, in a new line if the prompt was printed last.
    void print(std::string_view text);

    /// Prints the prompt, unless it was printed last.
    void prompt();

    /// Called when the user has entered a line.
    void lineEntered() { prompted_ = false; }

private:
    const bool prompts_;
    const bool colours_;
    bool prompted_ = false;
};

} // namespace kvn::host
