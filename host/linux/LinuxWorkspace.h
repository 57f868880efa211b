// SPDX-License-Identifier: MIT

#pragma once

#include "host/ProcessRunner.h"
#include "host/Workspace.h"
#include "host/linux/BusConnection.h"

#include <memory>
#include <string>

namespace kvn::host {

/// Uses logind and xdg-open, which is found in $PATH. Without a system bus with a logind no event is
/// announced; without xdg-open no link or folder can be opened. Both are logged once. A sleep is delayed
/// until the observer returns, but no longer than logind allows (InhibitDelayMaxSec). Started programs get a
/// process session of their own. `WillEndSession` comes from logind and from the desktop's session manager;
/// without both, the end of the session is a signal or the loss of the display.
class LinuxWorkspace final : public Workspace {
public:
    /// `mainLoop` and `processRunner` outlive the workspace and its observer.
    LinuxWorkspace(MainLoop& mainLoop, ProcessRunner& processRunner,
                   std::shared_ptr<BusConnection> sessionBus, std::shared_ptr<BusConnection> systemBus);

    MainLoop::Handle observe(std::function<void(Event)> handler) override;
    void openUrl(const std::string& url, Completion completion) override;
    void openFolder(const std::string& path, Completion completion) override;
    void launchApplication(const std::string& executable, const std::vector<std::string>& arguments,
                           Completion completion) override;

private:
    void open(const std::string& target, Completion completion);
    void complete(Completion completion, std::optional<Error> error);

    MainLoop& mainLoop_;
    ProcessRunner& processRunner_;
    const std::shared_ptr<BusConnection> sessionBus_;
    const std::shared_ptr<BusConnection> systemBus_;
    const std::string startupId_; // of the desktop's session manager
    bool missingOpenerLogged_ = false;
};

} // namespace kvn::host
