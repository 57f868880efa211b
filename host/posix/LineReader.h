// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <functional>
#include <string>
#include <string_view>

namespace kvn::host {

/// Reads lines from a descriptor, which the caller owns. A line of more than 4096 bytes is dropped as a
/// whole, and so is a last line without a line end. Main thread.
class LineReader {
public:
    struct Handlers {
        // None of them may destroy the reader.
        std::function<void(std::string_view)> onLine; // without its line end
        std::function<void()> onTooLong;
        std::function<void()> onEnd; // no handler is called after it
    };

    LineReader(MainLoop& mainLoop, int descriptor, Handlers handlers);
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

private:
    void readInput();
    void take(std::string_view bytes);

    const int descriptor_;
    const Handlers handlers_;
    MainLoop::Handle input_;
    std::string line_;
    bool skippingLine_ = false; // while the rest of a line that is too long arrives
};

} // namespace kvn::host
