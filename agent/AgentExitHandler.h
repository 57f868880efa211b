#pragma once

#include "host/MainLoop.h"

#include <string>

namespace kvn {

/// Sends SIGTERM, by which the system ends agents, through the application's own way to end.
class AgentExitHandler {
public:
    /// `terminate` is called in the main loop as long as the result lives. Once a process, main thread.
    [[nodiscard]] static host::MainLoop::Handle
    install(host::MainLoop& mainLoop, const std::string& bundleIdentifier, host::MainLoop::Task terminate);
};

} // namespace kvn
