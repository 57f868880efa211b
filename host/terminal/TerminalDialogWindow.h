// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/Terminal.h"
#include "host/terminal/TerminalPane.h"

namespace kvn::host {

/// A dialog in a terminal, printed when it opens and whenever its text has changed. The terminal outlives
/// it.
class TerminalDialogWindow final : public DialogWindow, private TerminalPane {
public:
    explicit TerminalDialogWindow(Terminal& terminal) : terminal_(terminal) {}
    ~TerminalDialogWindow() override { terminal_.remove(*this); }
    TerminalDialogWindow(const TerminalDialogWindow&) = delete;
    TerminalDialogWindow& operator=(const TerminalDialogWindow&) = delete;

    void show(const std::string& title, DialogLines lines, const DialogPlace& place) override;
    void update(DialogLines lines) override;
    bool isVisible() const override { return terminal_.isOpen(*this); }
    void close() override;
    void onClose(std::function<void()> handler) override { onClose_ = std::move(handler); }

private:
    std::string title() const override { return title_; }
    std::string text(const Style& style) const override;
    std::vector<std::string> choices() const override;
    Choice choose(std::size_t number) const override;
    Choice set(std::size_t number, const std::string& value) const override;

    Terminal& terminal_;
    std::string title_;
    DialogLines lines_;
    std::function<void()> onClose_;
};

} // namespace kvn::host
