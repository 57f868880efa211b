// SPDX-License-Identifier: MIT

#include "host/terminal/TerminalOutput.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace {

constexpr std::size_t kNarrowest = 24; // enough for a dialog's numbers and some text

/// Returns an empty text for a variable that is not set.
std::string_view valueOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value ? value : "";
}

bool terminalHasColours() {
    const std::string_view type = valueOf("TERM");
    return isatty(STDOUT_FILENO) && !type.empty() && type != "dumb" && valueOf("NO_COLOR").empty();
}

} // namespace

TerminalOutput::TerminalOutput()
    : prompts_(isatty(STDIN_FILENO) && isatty(STDOUT_FILENO)), colours_(terminalHasColours()) {}

Style TerminalOutput::style() const {
    Style style{.colours = colours_};
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        style.width = std::max<std::size_t>(size.ws_col, kNarrowest);
    }
    return style;
}

void TerminalOutput::print(std::string_view text) {
    if (std::exchange(prompted_, false)) {
        std::fputc('\n', stdout);
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void TerminalOutput::prompt() {
    if (prompts_ && !std::exchange(prompted_, true)) {
        std::fputs("> ", stdout);
        std::fflush(stdout);
    }
}

} // namespace kvn::host
