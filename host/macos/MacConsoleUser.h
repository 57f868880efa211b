// SPDX-License-Identifier: MIT

#pragma once

#include "host/ConsoleUser.h"

namespace kvn::host {

/// Returns the user that the system's dynamic store names. If the store does not tell of changes, this is
/// logged, and no task is run.
class MacConsoleUser final : public ConsoleUser {
public:
    /// The loop outlives this object and its registrations.
    explicit MacConsoleUser(MainLoop& mainLoop) : mainLoop_(mainLoop) {}

    Owner current() override;
    [[nodiscard]] MainLoop::Handle onChange(MainLoop::Task task) override;

private:
    MainLoop& mainLoop_;
};

} // namespace kvn::host
