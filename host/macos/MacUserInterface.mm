// SPDX-License-Identifier: MIT

#include "host/Host.h"
#include "host/macos/MacDialogWindow.h"
#include "host/macos/MacStatusBar.h"

namespace kvn::host {
namespace {

/// Shows the agent in the menu bar and in windows.
class MacUserInterface final : public UserInterface {
public:
    explicit MacUserInterface(Host& host) : host_(host) {
        statusBar_.describe(host.bundle->localizedString("StatusPending"));
    }

    StatusBar& statusBar() override { return statusBar_; }
    DialogWindow& dialogWindow() override { return dialogWindow_; }
    DialogWindow& permissionWindow() override { return permissionWindow_; }
    Workspace& workspace() override { return *host_.workspace; }
    HotKeys& hotKeys() override { return *host_.hotKeys; }

    void start(Commands, MainLoop::Task) override {}

    /// The status bar's picture needs words for users who do not see it.
    void showState(const std::string& text, const StateDetails&) override { statusBar_.describe(text); }

private:
    Host& host_;
    MacStatusBar statusBar_;
    MacDialogWindow dialogWindow_;
    MacDialogWindow permissionWindow_;
};

} // namespace

std::unique_ptr<UserInterface> makeDesktopUserInterface(Host& host) {
    return std::make_unique<MacUserInterface>(host);
}

} // namespace kvn::host
