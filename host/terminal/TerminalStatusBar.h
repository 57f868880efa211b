// SPDX-License-Identifier: MIT

#pragma once

#include "host/StatusBar.h"
#include "host/terminal/Terminal.h"
#include "host/terminal/TerminalPane.h"

namespace kvn::host {

/// The status item in a terminal: a word in the state's line represents its picture, and a command prints its
/// menu. The terminal outlives it.
class TerminalStatusBar final : public StatusBar, private TerminalPane {
public:
    explicit TerminalStatusBar(Terminal& terminal) : terminal_(terminal) {}
    ~TerminalStatusBar() override { removeItem(); }
    TerminalStatusBar(const TerminalStatusBar&) = delete;
    TerminalStatusBar& operator=(const TerminalStatusBar&) = delete;

    void showItem(const Menu& menu) override;
    void removeItem() override;
    void updateItem(const StatusImage& image) override;

private:
    std::string title() const override;
    std::string text(const Style& style) const override;
    std::vector<std::string> choices() const override;
    Choice choose(std::size_t number) const override;
    Choice set(std::size_t number, const std::string& value) const override;

    Terminal& terminal_;
    const Menu* menu_ = nullptr; // while there is an item
};

} // namespace kvn::host
