// SPDX-License-Identifier: MIT

#include "host/terminal/TerminalOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kNarrowest = 24; // enough for a dialog's numbers and some text
constexpr std::size_t kMostKept = std::size_t{64} << 10;
constexpr auto kRetryInterval = 100ms;
constexpr std::chrono::milliseconds kPatienceAtEnd = 100ms;

/// Returns an empty text for a variable that is not set.
std::string_view valueOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value ? value : "";
}

bool terminalHasColours() {
    const std::string_view type = valueOf("TERM");
    return isatty(STDOUT_FILENO) && !type.empty() && type != "dumb" && valueOf("NO_COLOR").empty();
}

/// Opens the terminal anew, because O_NONBLOCK on standard output itself would also hold for the shell, which
/// shares that open file. Returns an empty descriptor without a terminal, and for one of another user.
Kvs::FileDescriptor openTerminal() {
    char path[PATH_MAX];
    if (!isatty(STDOUT_FILENO) || ttyname_r(STDOUT_FILENO, path, sizeof path) != 0) {
        return {};
    }
    return Kvs::FileDescriptor(open(path, O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

} // namespace

TerminalOutput::TerminalOutput(MainLoop& mainLoop, OnGap onGap)
    : mainLoop_(mainLoop), onGap_(std::move(onGap)), colours_(terminalHasColours()),
      terminal_(openTerminal()) {}

TerminalOutput::~TerminalOutput() {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + kPatienceAtEnd;
    for (auto left = kPatienceAtEnd; !kept_.empty() && left > 0ms && takes(static_cast<int>(left.count()));) {
        writeWhatIsTaken();
        left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    }
}

Style TerminalOutput::style() const {
    Style style{.colours = colours_};
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        style.width = std::max<std::size_t>(size.ws_col, kNarrowest);
    }
    return style;
}

void TerminalOutput::print(std::string_view text) {
    for (std::size_t begin = 0, end = 0; end != text.npos; begin = end + 1) {
        end = text.find('\n', begin);
        keep(std::string(text.substr(begin, end - begin)) + "\n", 1);
    }
    flush();
}

void TerminalOutput::write(std::string_view bytes) {
    keep(bytes, 0);
    flush();
}

void TerminalOutput::shareWithStandardError() const {
    if (terminal_ && isatty(STDERR_FILENO)) {
        dup2(terminal_.get(), STDERR_FILENO);
    }
}

int TerminalOutput::descriptor() const { return terminal_ ? terminal_.get() : STDOUT_FILENO; }

bool TerminalOutput::takes(int milliseconds) const {
    pollfd output{descriptor(), POLLOUT, 0};
    return poll(&output, 1, milliseconds) == 1;
}

/// Keeps the bytes as a whole or not at all, so that none of the terminal's control sequences is cut.
void TerminalOutput::keep(std::string_view bytes, std::size_t lines) {
    if (kept_.size() + bytes.size() > kMostKept) {
        writeWhatIsTaken();
    }
    if (gap_ || kept_.size() + bytes.size() > kMostKept) {
        gap_ = true;
        linesLeftOut_ += lines;
    } else {
        kept_ += bytes;
    }
}

void TerminalOutput::writeWhatIsTaken() {
    // A pipe that is ready takes this much at once, and so the descriptor, which other programs may have
    // open as well, need not be O_NONBLOCK.
    const std::size_t most = terminal_ ? kMostKept : PIPE_BUF;
    while (!kept_.empty() && takes(0)) {
        const ssize_t count = ::write(descriptor(), kept_.data(), std::min(kept_.size(), most));
        if (count > 0) {
            kept_.erase(0, static_cast<std::size_t>(count));
        } else if (count < 0 && errno == EAGAIN) {
            return;
        } else if (count == 0 || errno != EINTR) {
            kept_.clear(); // nobody can read it any more
        }
    }
}

void TerminalOutput::flush() {
    writeWhatIsTaken();
    if (!kept_.empty()) {
        if (!retry_) {
            retry_ = mainLoop_.startTimer(kRetryInterval, [this] { flush(); });
        }
        return;
    }
    const auto finished = std::move(retry_); // ends after this function, which may be its task
    if (std::exchange(gap_, false)) {
        onGap_(std::exchange(linesLeftOut_, 0));
    }
}

} // namespace kvn::host
