#pragma once

#include "host/terminal/TextLayout.h"

#include <string_view>

namespace kvn::host {

/// Standard output, and the prompt on it where a person types. Main thread.
class TerminalOutput {
public:
    TerminalOutput();

    /// The present width of the terminal's window, or 80 columns without one; colours on a terminal that has
    /// them, unless NO_COLOR is set.
    Style style() const;

    /// Prints the harmless text and a line end; below the prompt if one waits for its line.
    void print(std::string_view text);

    /// Prints the prompt, unless one waits for its line already.
    void prompt();

    /// Called when the person has ended the line.
    void lineEntered() { prompted_ = false; }

private:
    const bool prompts_;
    const bool colours_;
    bool prompted_ = false;
};

} // namespace kvn::host
