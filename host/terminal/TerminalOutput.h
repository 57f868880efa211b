#pragma once

#include "host/terminal/TextLayout.h"

#include <string_view>

namespace kvn::host {

/// Standard output, and the prompt on it where a person types. Main thread.
class TerminalOutput {
public:
    TerminalOutput();

    /// The width of the terminal's window as it is now; 80 columns without one. Colours on a terminal that
    /// has them, unless the environment says NO_COLOR.
    Style style() const;

    /// Prints the harmless text and a line end, below a prompt that waits for its line.
    void print(std::string_view text);

    /// Asks for a line, unless that is done already.
    void prompt();

    /// The person has ended the line.
    void lineEntered() { prompted_ = false; }

private:
    const bool prompts_;
    const bool colours_;
    bool prompted_ = false;
};

} // namespace kvn::host
