#pragma once

#include "host/MainLoop.h"

#include <functional>
#include <string>

namespace kvn::daemon {

/// Reads lines from a descriptor that somebody else owns. Main thread.
class LineReader {
public:
    /// `onEnd` is called when the input ends, fails or has a line of more than 64 KiB, and again as
    /// long as the reader lives on. Neither may destroy the reader.
    LineReader(host::MainLoop& loop, int descriptor, std::function<void(const std::string& line)> onLine,
               std::function<void()> onEnd);

private:
    void read();

    const int descriptor_;
    const std::function<void(const std::string& line)> onLine_;
    const std::function<void()> onEnd_;
    std::string unfinished_;
    host::MainLoop::Handle watch_;
};

} // namespace kvn::daemon
