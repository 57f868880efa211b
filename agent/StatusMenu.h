// SPDX-License-Identifier: MIT

#pragma once

#include "host/StatusBar.h"
#include "remote/platform/OFRRecords.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace kvn {

/// The menu of the status item. Main thread.
class StatusMenu {
public:
    using Action = std::function<void()>;

    /// The actions of the items.
    struct Actions {
        Action getServiceStatus;
        Action showLogFiles;
        Action showSettings;
        Action showPermissions;
        Action startService;
        Action stopService;
        Action hideStatusItem;
    };

    using Text = std::function<std::string(const char* key)>;

    /// `text` returns the titles of all items except the one for the permissions, which is left out without a
    /// title.
    StatusMenu(const Actions& actions, const Text& text, const std::optional<std::string>& permissionsTitle);

    const host::Menu& items() const { return items_; }

    /// Enables the items that the user can choose while the service is in this state.
    void enableFor(ServiceState serviceState, bool startAttemptDidFail);

private:
    std::size_t add(std::string title, Action action);
    void addSeparator();
    void enable(std::size_t item, bool enabled);

    host::Menu items_;
    std::size_t startMenuItem_ = 0;
    std::size_t stopMenuItem_ = 0;
};

} // namespace kvn
