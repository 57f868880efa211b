// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"

#include <optional>
#include <string>
#include <sys/types.h>

namespace kvn::host {

/// The user of the machine's screen and keyboard. Main thread.
class ConsoleUser {
public:
    struct Owner {
        /// "loginwindow" while the system waits for a log-in; nullopt without a user, or if it is not known.
        std::optional<std::string> name;
        uid_t uid = 0; // 0 without a name
    };

    virtual ~ConsoleUser() = default;

    /// Returns the present owner of the console.
    virtual Owner current() = 0;

    /// Runs the task in the main loop after each change of the owner, until the registration ends. One
    /// registration at a time.
    [[nodiscard]] virtual MainLoop::Handle onChange(MainLoop::Task task) = 0;
};

} // namespace kvn::host
