// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FileDescriptor.h"
#include "host/MainLoop.h"
#include "host/terminal/TextLayout.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kvn::host {

/// Standard output, which is never waited for: a terminal that Ctrl-S has stopped and a pipe whose reader
/// does not read must not hold the main thread. What is not taken is kept up to 64 KiB; what comes on top of
/// that is left out. Main thread.
class TerminalOutput {
public:
    /// Called once the output takes text again after some was left out, with the number of lines that were.
    using OnGap = std::function<void(std::size_t lines)>;

    TerminalOutput(MainLoop& mainLoop, OnGap onGap);

    /// Waits for at most 100 ms until the kept text is taken.
    ~TerminalOutput();
    TerminalOutput(const TerminalOutput&) = delete;
    TerminalOutput& operator=(const TerminalOutput&) = delete;

    /// Returns the present width of the terminal's window, or 80 columns without one, and colours if the
    /// terminal has them and NO_COLOR is not set.
    Style style() const;

    /// Prints the harmless text and a line end.
    void print(std::string_view text);

    /// Writes bytes that may control the terminal.
    void write(std::string_view bytes);

    /// Makes standard error, if it is a terminal, lose what the terminal does not take instead of waiting.
    void shareWithStandardError() const;

private:
    int descriptor() const;
    bool takes(int milliseconds) const;
    void keep(std::string_view bytes, std::size_t lines);
    void writeWhatIsTaken();
    void flush();

    MainLoop& mainLoop_;
    const OnGap onGap_;
    const bool colours_;
    const Kvs::FileDescriptor terminal_; // standard output's terminal, opened anew; empty without one
    std::string kept_;
    bool gap_ = false;
    std::size_t linesLeftOut_ = 0;
    MainLoop::Handle retry_; // while text is kept
};

} // namespace kvn::host
