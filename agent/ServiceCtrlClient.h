#pragma once

#include "privileged-helper/client/PHAgentClient.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvn {

/// The client of the helper that starts and stops the remote service, and runs tasks, as root. Everything
/// here may block, and is for the work queue.
class ServiceCtrlClient final : public PHAgentClient {
public:
    /// See PHAgentClient for how long the handler must live.
    ServiceCtrlClient(const Environment& environment, PHAgentEventHandler& eventHandler);

    /// Installs the embedded helper with the user's authorization and listens to its events; whether it
    /// runs now with the embedded version.
    bool installAgent();

    // The helper's answer comes as an event. Without a request identifier a task's result is not told.
    void sendStartCommand();
    void sendStopCommand();
    void sendRestartCommand();
    void sendExecuteCommand(const std::string& task, const std::vector<std::string>& arguments,
                            std::optional<std::uint64_t> requestId);

private:
    const host::Bundle& bundle_;
};

} // namespace kvn
