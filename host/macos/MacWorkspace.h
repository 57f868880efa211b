// SPDX-License-Identifier: MIT

#pragma once

#include "host/Workspace.h"

#include <memory>

namespace kvn::host {

/// The user's session, through the workspace of the desktop.
class MacWorkspace final : public Workspace {
public:
    /// The main loop outlives the workspace.
    explicit MacWorkspace(MainLoop& mainLoop) : mainLoop_(&mainLoop, [](MainLoop*) {}) {}

    /// While observed, the application does not end itself when it is asked to quit: the observer ends it. To
    /// be called after the application has finished launching, which installs the system's own answer.
    MainLoop::Handle observe(std::function<void(Event)> handler) override;

    void openUrl(const std::string& url, Completion completion) override;
    void openFolder(const std::string& path, Completion completion) override;

    /// Starts a new instance of the application that contains the executable. Fails for an executable outside
    /// of an application: the desktop would open such a file in a terminal.
    void launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                           Completion completion) override;

private:
    // Not owned. Answers of the system hold the loop weakly: they may arrive when this object is gone.
    const std::shared_ptr<MainLoop> mainLoop_;
};

} // namespace kvn::host
