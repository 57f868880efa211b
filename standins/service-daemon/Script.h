#pragma once

#include "host/MainLoop.h"

#include <functional>
#include <string>
#include <vector>

namespace kvn::daemon {

/// Plays commands in order, and two more: "wait MILLISECONDS", and "wait-for TAG", which waits for the
/// next message of that name. Lines that start with "#" are comments. Main thread; outlives the loop's
/// `run`.
class Script {
public:
    using Perform = std::function<std::string(const std::string& command)>;
    using Fail = std::function<void(const std::string& reason)>;

    /// `perform` carries a command out and returns its answer; `fail` hears of the line that is not
    /// understood, where the script ends.
    Script(host::MainLoop& loop, std::vector<std::string> lines, Perform perform, Fail fail);

    void play();

    /// Tells of a message that came.
    void messageCame(const std::string& tag);

private:
    host::MainLoop& loop_;
    const std::vector<std::string> lines_;
    const Perform perform_;
    const Fail fail_;
    std::size_t next_ = 0;
    std::string awaitedTag_;
};

} // namespace kvn::daemon
