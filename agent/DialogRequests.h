// SPDX-License-Identifier: MIT

#pragma once

#include "host/DistributedNotifications.h"
#include "host/MainLoop.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kvn {

/// The dialogs that any program of the session can have the agent open, by a notification.
enum class RequestedDialog { Settings, Status };

/// Returns the dialog with this name on the command line.
std::optional<RequestedDialog> dialogNamed(const std::string& name);

/// Answers the requests of other programs. Main thread.
class DialogRequests {
public:
    /// Opens the dialog. Returns false if that shows the user nothing.
    using Open = std::function<bool(RequestedDialog dialog)>;

    /// `notifications` outlives this object.
    DialogRequests(host::DistributedNotifications& notifications, Open open);

private:
    std::vector<host::MainLoop::Handle> observers_;
};

/// Asks the agents of this session to open the dialog. Returns true as soon as one has shown it, false if
/// none does so within `kRequestTimeLimit`. Runs the main loop, which runs nothing else.
bool requestDialog(RequestedDialog dialog, host::MainLoop& mainLoop,
                   host::DistributedNotifications& notifications);

inline constexpr std::chrono::seconds kRequestTimeLimit{3};

} // namespace kvn
