// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"

namespace kvn::host {

/// A dialog's window.
class QtDialogWindow final : public DialogWindow {
public:
    QtDialogWindow() = default;

    void show(const std::string& title, DialogLines lines, const DialogPlace& place) override;
    void update(DialogLines lines) override;
    bool isVisible() const override;
    void close() override;
    void onClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

private:
    std::function<void()> onClose_;
};

} // namespace kvn::host
