#pragma once

#include "agent/AgentObserver.h"
#include "agent/AppDelegate.h"
#include "host/Host.h"
#include "host/terminal/Terminal.h"
#include "host/terminal/TerminalDialogWindow.h"
#include "host/terminal/TerminalHotKeys.h"
#include "host/terminal/TerminalStatusBar.h"
#include "host/terminal/TerminalWorkspace.h"

#include <cstdint>
#include <string>

namespace kvn {

/// The agent in a terminal: shows its models there, and turns commands into what the menu, the system and
/// the keyboard would do. Main thread.
class TerminalFrontEnd final : public AgentObserver {
public:
    /// The host outlives it, and has the prompts of its authorizations shown here.
    explicit TerminalFrontEnd(host::Host& host);
    ~TerminalFrontEnd() override;

    host::StatusBar& statusBar() { return statusBar_; }
    host::DialogWindow& dialogWindow() { return dialogWindow_; }
    host::DialogWindow& permissionWindow() { return permissionWindow_; }
    host::Workspace& workspace() { return workspace_; }
    host::HotKeys& hotKeys() { return hotKeys_; }

    /// Begins to take commands for the application, which has launched.
    void start(AppDelegate& application);

    // AgentObserver
    void statusShown(const std::string& text, const OFRServiceInfo* details) override;
    void commandCompleted(const std::string& command, std::int32_t status,
                          const std::string& details) override;
    void requestFailed(const std::string& text) override;

private:
    host::Terminal::Commands applicationCommands(AppDelegate& application);
    host::Terminal::Commands serviceCommands(GUIAgentController& controller);
    std::string runTask(GUIAgentController& controller, const std::string& commandLine);

    host::MainLoop& mainLoop_;
    host::Terminal terminal_;
    host::TerminalStatusBar statusBar_{terminal_};
    host::TerminalDialogWindow dialogWindow_{terminal_};
    host::TerminalDialogWindow permissionWindow_{terminal_};
    host::TerminalWorkspace workspace_;
    host::TerminalHotKeys hotKeys_;
};

} // namespace kvn
