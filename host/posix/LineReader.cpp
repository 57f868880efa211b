// SPDX-License-Identifier: MIT

#include "host/posix/LineReader.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace {

constexpr std::size_t kLongestLine = 4096;

} // namespace

LineReader::LineReader(MainLoop& mainLoop, int descriptor, Handlers handlers)
    : descriptor_(descriptor), handlers_(std::move(handlers)),
      input_(mainLoop.watchReadable(descriptor_, [this] { readInput(); })) {}

void LineReader::readInput() {
    char buffer[512];
    const ssize_t count = ::read(descriptor_, buffer, sizeof buffer);
    if (count > 0) {
        take({buffer, static_cast<std::size_t>(count)});
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        input_.reset();
        handlers_.onEnd();
    }
}

void LineReader::take(std::string_view bytes) {
    for (;;) {
        const auto end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (line_.size() + piece.size() > kLongestLine && !std::exchange(skippingLine_, true)) {
            line_.clear();
            handlers_.onTooLong();
        }
        if (!skippingLine_) {
            line_ += piece;
        }
        if (end == bytes.npos) {
            return;
        }
        bytes.remove_prefix(end + 1);
        const std::string line = std::exchange(line_, {});
        if (!std::exchange(skippingLine_, false)) {
            handlers_.onLine(line);
        }
    }
}

} // namespace kvn::host
