#pragma once

#include "host/DialogWindow.h"
#include "host/StatusBar.h"

namespace kvn::host {

/// A status bar that nobody sees.
class NoStatusBar final : public StatusBar {
public:
    void showItem(const Menu&) override {}
    void removeItem() override {}
    void updateItem(const StatusImage&) override {}
};

/// A window that never opens, and so never closes.
class NoDialogWindow final : public DialogWindow {
public:
    void show(const std::string&, DialogLines, const DialogPlace&) override {}
    void update(DialogLines) override {}
    bool isVisible() const override { return false; }
    void close() override {}
    void onClose(std::function<void()>) override {}
};

} // namespace kvn::host
