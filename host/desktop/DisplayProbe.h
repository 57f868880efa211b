// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <string>
#include <variant>

namespace kvn::host {

/// A display that takes connections, and the toolkit's plug-in that connects to it.
struct Display {
    std::string platform;
    /// Keeps a connection open, because a display may start anew when it has no clients left. Released when
    /// the toolkit is connected.
    std::shared_ptr<const void> client;
};

/// Why no display can be used, in words for the user.
struct DisplayProblem {
    std::string text;
};

/// Looks for a display and a plug-in; the toolkit ends the process if it finds none. A display that does not
/// answer within five seconds is none. Main thread, before other threads are started.
std::variant<Display, DisplayProblem> findDisplay();

} // namespace kvn::host
