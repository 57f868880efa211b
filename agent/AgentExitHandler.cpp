#include "agent/AgentExitHandler.h"

#include "core/logging/CNSLog.h"

#include <csignal>
#include <utility>

namespace kvn {

host::MainLoop::Handle AgentExitHandler::install(host::MainLoop& mainLoop,
                                                 const std::string& bundleIdentifier,
                                                 host::MainLoop::Task terminate) {
    return mainLoop.onSignal(SIGTERM, [bundleIdentifier, terminate = std::move(terminate)] {
        Kvs::OCNSLog("Terminating agent: %@", bundleIdentifier);
        terminate();
    });
}

} // namespace kvn
