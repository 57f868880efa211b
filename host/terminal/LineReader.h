#pragma once

#include "host/MainLoop.h"

#include <functional>
#include <string>
#include <string_view>

namespace kvn::host {

/// Reads lines from standard input. A line that is too long to be a command is dropped as a whole, and so
/// is one that the input's end cuts off. Main thread.
class LineReader {
public:
    struct Handlers {
        std::function<void(std::string_view)> onLine; // without its end
        std::function<void()> onTooLong;
        std::function<void()> onEnd; // the last call
    };

    LineReader(MainLoop& mainLoop, Handlers handlers);
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

private:
    void readInput();
    void take(std::string_view bytes);

    const Handlers handlers_;
    MainLoop::Handle input_;
    std::string line_;
    bool skippingLine_ = false; // the line was too long, the rest of it is no command
};

} // namespace kvn::host
