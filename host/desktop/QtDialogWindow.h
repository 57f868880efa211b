// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/desktop/QtDialogPanel.h"

#include <functional>
#include <memory>
#include <utility>

namespace kvn::host {

/// A dialog in a window of the desktop, which exists while the dialog is open.
class QtDialogWindow final : public DialogWindow {
public:
    /// Both outlive the window. The bundle has the texts for the user.
    QtDialogWindow(MainLoop& mainLoop, const Bundle& bundle) : mainLoop_(mainLoop), bundle_(bundle) {}

    void show(const std::string& title, DialogLines lines, const DialogPlace& place) override;
    void update(DialogLines lines) override;
    bool isVisible() const override { return panel_ != nullptr; }
    void close() override;
    void onClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

private:
    void makePanel();
    void showLines(const DialogLines& lines);
    void finishEditing();

    MainLoop& mainLoop_;
    const Bundle& bundle_;
    std::unique_ptr<QtDialogPanel> panel_;
    QtDialogPanel::Rows rows_; // in the panel
    std::function<void()> onClose_;
};

} // namespace kvn::host
