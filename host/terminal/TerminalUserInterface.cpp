// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "host/Host.h"
#include "host/UserInterface.h"
#include "host/terminal/SimulatedMachine.h"
#include "host/terminal/Terminal.h"
#include "host/terminal/TerminalDialogWindow.h"
#include "host/terminal/TerminalStatusBar.h"

#include <csignal>
#include <optional>

namespace kvn::host {
namespace {

/// Shows the agent in a terminal, and takes its commands from there.
class TerminalUserInterface final : public UserInterface {
public:
    /// From now on this object shows the prompts of the host's authorizations.
    explicit TerminalUserInterface(Host& host) : host_(host), terminal_(*host.mainLoop, *host.bundle) {
        terminal_.shareWithStandardError();
        if (!Kvs::FSysInfoPaths::underRoot("").empty()) {
            simulated_.emplace(*host.workspace);
        }
        // Called on the thread that asks for the rights. `endBackgroundWork` waits for that thread before
        // this object is destroyed, and the main loop does not run the posted task any more then.
        host.privilegedJobs->presentPromptsWith([this](const std::string& prompt) {
            host_.mainLoop->post([this, prompt] {
                terminal_.message(terminal_.localized("TerminalAuthorization") + " " + prompt);
            });
        });
        terminal_.showState(terminal_.localized("StatusPending"), {});
        // Sent when the terminal's window is closed. It is handled in the main loop, which runs after
        // `start`.
        hangUp_ = host.mainLoop->onSignal(SIGHUP, [this] { terminate_(); });
    }
    ~TerminalUserInterface() override { terminal_.message(terminal_.localized("TerminalAgentEnds")); }

    StatusBar& statusBar() override { return statusBar_; }
    DialogWindow& dialogWindow() override { return dialogWindow_; }
    DialogWindow& permissionWindow() override { return permissionWindow_; }
    Workspace& workspace() override {
        return simulated_ ? static_cast<Workspace&>(simulated_->workspace) : *host_.workspace;
    }
    HotKeys& hotKeys() override {
        return simulated_ ? static_cast<HotKeys&>(simulated_->hotKeys) : *host_.hotKeys;
    }

    void start(Commands commands, MainLoop::Task terminate) override {
        terminate_ = std::move(terminate);
        if (simulated_) {
            commands.merge(simulated_->commands());
        }
        terminal_.start(std::move(commands), terminate_);
    }
    void showState(const std::string& text, const StateDetails& details) override {
        terminal_.showState(text, details);
    }
    void repeatState() override { terminal_.repeatState(); }
    void message(const std::string& text) override { terminal_.message(text); }

private:
    Host& host_;
    Terminal terminal_;
    TerminalStatusBar statusBar_{terminal_};
    TerminalDialogWindow dialogWindow_{terminal_};
    TerminalDialogWindow permissionWindow_{terminal_};
    std::optional<SimulatedMachine> simulated_; // in a sandbox only
    MainLoop::Task terminate_;
    MainLoop::Handle hangUp_;
};

} // namespace

std::unique_ptr<UserInterface> makeTerminalUserInterface(Host& host) {
    return std::make_unique<TerminalUserInterface>(host);
}

} // namespace kvn::host
