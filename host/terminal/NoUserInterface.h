#pragma once

#include "host/DialogWindow.h"
#include "host/StatusBar.h"

namespace kvn::host {

/// A status bar that nobody sees.
class NoStatusBar final : public StatusBar {
public:
    bool itemHasButton() const override { return true; }
    void showItem(const Menu&) override {}
    void removeItem() override {}
    void updateItem(const StatusImage&) override {}
};

/// A window that never opens, and so never closes.
class NoDialogWindow final : public DialogWindow {
public:
    Rect visibleScreen() const override { return {}; }
    void show(const std::string&, DialogRows, const Rect&) override {}
    void update(DialogRows) override {}
    bool isVisible() const override { return false; }
    void close() override {}
    void onClose(std::function<void()>) override {}
};

} // namespace kvn::host
