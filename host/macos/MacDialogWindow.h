// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/macos/KvnDialogPanel.h"
#include "host/macos/MacDialogRow.h"

#include <functional>
#include <memory>
#include <vector>

namespace kvn::host {

/// A dialog in a panel on the main screen.
class MacDialogWindow final : public DialogWindow {
public:
    MacDialogWindow() = default;
    ~MacDialogWindow() override;
    MacDialogWindow(const MacDialogWindow&) = delete;
    MacDialogWindow& operator=(const MacDialogWindow&) = delete;

    void show(const std::string& title, DialogLines lines, const DialogPlace& place) override;
    void update(DialogLines lines) override;
    bool isVisible() const override { return panel_.visible; }
    void close() override;
    void onClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

private:
    void showLines(const DialogLines& lines);
    void moveTo(const DialogPlace& place);

    KvnDialogPanel* const panel_ = [[KvnDialogPanel alloc] initWithCloseRequest:[this] { close(); }];
    std::vector<std::unique_ptr<MacDialogRow>> rows_;
    std::function<void()> onClose_;
};

} // namespace kvn::host
