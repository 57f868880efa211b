// SPDX-License-Identifier: MIT

#pragma once

#include "privileged-helper/client/PHAgentClient.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvn {

/// The client of the helper that starts and stops the remote service, and runs tasks, as root. Called on the
/// work queue, because each call may block.
class ServiceCtrlClient final : public PHAgentClient {
public:
    /// See PHAgentClient for how long the handler must live.
    ServiceCtrlClient(const Environment& environment, PHAgentEventHandler& eventHandler);

    /// Installs the embedded helper with the user's authorization, and listens to its events. Returns true if
    /// the helper runs now with the embedded version.
    bool installAgent();

    // The helper answers with an event, which has a task's result if the command has a request identifier.
    // These return false, and no answer will come, when the command could not be sent.
    bool sendStartCommand();
    bool sendStopCommand();
    bool sendRestartCommand();
    /// Sends nothing if the task's path and arguments do not fit into a message, which has at most 511 bytes.
    bool sendExecuteCommand(const std::string& task, const std::vector<std::string>& arguments,
                            std::optional<std::uint64_t> requestId);

private:
    const host::Bundle& bundle_;
};

} // namespace kvn
