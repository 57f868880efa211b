#pragma once

#include "host/DialogWindow.h"
#include "remote/platform/OFRRecords.h"

#include <cstdint>

namespace kvn {

class PermissionDialog;

/// The application as its controller sees it. Main thread.
class AgentApplication {
public:
    /// What the status icon shows.
    enum class AppState : std::int32_t {
        Online = 0,     // no remote session
        NotOnline = 1,  // the service is offline, paused, starting, or the agent is stopped
        Controlled = 2, // online, and a remote session runs
    };

    virtual ~AgentApplication() = default;

    /// Sets the menu and the icon; returns the service state to show, which may differ from the reported one.
    virtual ServiceState updateAppState(AppState appState, ServiceState serviceState) = 0;

    // Told by the helper.
    virtual void startServiceCompletedWithStatus(std::int32_t status) = 0;
    virtual void stopServiceCompletedWithStatus(std::int32_t status) = 0;

    virtual void settingsUpdated() = 0;

    virtual host::DialogWindow& dialogWindow() = 0;
    virtual PermissionDialog& permissionDialog() = 0;
};

} // namespace kvn
