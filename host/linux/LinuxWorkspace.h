#pragma once

#include "host/ProcessRunner.h"
#include "host/Workspace.h"

namespace kvn::host {

/// A session by logind and xdg-open, which is found in $PATH. Without them, which is logged once, nothing
/// is announced, and nothing can be opened. A sleep waits for the observer's return, no longer than logind
/// allows (InhibitDelayMaxSec). Started programs get a process session of their own.
class LinuxWorkspace final : public Workspace {
public:
    /// Both outlive the workspace and its observer.
    LinuxWorkspace(MainLoop& mainLoop, ProcessRunner& processRunner);

    /// Takes a few times `kBusTimeLimit` at most.
    MainLoop::Handle observe(std::function<void(Event)> handler) override;
    std::optional<Error> openUrl(const std::string& url) override;
    std::optional<Error> openFolder(const std::string& path) override;
    std::optional<Error> launchApplication(const std::string& executable,
                                           const std::vector<std::string>& arguments) override;

private:
    std::optional<Error> open(const std::string& what);

    MainLoop& mainLoop_;
    ProcessRunner& processRunner_;
    bool openerMissed_ = false;
};

} // namespace kvn::host
