// SPDX-License-Identifier: MIT

#include "host/Host.h"
#include "host/UserInterface.h"

namespace kvn::host {
namespace {

class NoStatusBar final : public StatusBar {
public:
    void showItem(const Menu&) override {}
    void removeItem() override {}
    void updateItem(const StatusImage&) override {}
};

/// A window that is never visible.
class NoDialogWindow final : public DialogWindow {
public:
    void show(const std::string&, DialogLines, const DialogPlace&) override {}
    void update(DialogLines) override {}
    bool isVisible() const override { return false; }
    void close() override {}
    void onClose(std::function<void()>) override {}
};

/// The front end of an agent without a user interface. Sleep and the hot key are still those of the machine.
class NoUserInterface final : public UserInterface {
public:
    explicit NoUserInterface(Host& host) : host_(host) {}

    StatusBar& statusBar() override { return statusBar_; }
    DialogWindow& dialogWindow() override { return window_; }
    DialogWindow& permissionWindow() override { return window_; }
    Workspace& workspace() override { return *host_.workspace; }
    HotKeys& hotKeys() override { return *host_.hotKeys; }
    void start(Commands, MainLoop::Task) override {}

private:
    Host& host_;
    NoStatusBar statusBar_;
    NoDialogWindow window_;
};

} // namespace

std::unique_ptr<UserInterface> makeNoUserInterface(Host& host) {
    return std::make_unique<NoUserInterface>(host);
}

} // namespace kvn::host
