// SPDX-License-Identifier: MIT

#pragma once

#include "host/desktop/StatusItem.h"
#include "host/linux/BusConnection.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kvn::host {

/// The item's menu for panels that show it themselves: com.canonical.dbusmenu. The entries have the numbers
/// 1, 2, ... in their order, and 0 is the menu. Main thread.
class BusMenu {
public:
    static constexpr const char* kPath = "/MenuBar";

    /// All arguments outlive this object.
    BusMenu(BusConnection& bus, StatusItem& item);
    ~BusMenu() = default;
    BusMenu(const BusMenu&) = delete;
    BusMenu& operator=(const BusMenu&) = delete;

    /// Tells those who show the menu what has changed since they were told last.
    void announceChanges();

private:
    struct Table;
    using State = std::pair<std::string, bool>; // the title, and whether it is enabled

    State stateOf(std::size_t place) const;

    BusConnection& bus_;
    StatusItem& item_;
    std::vector<State> told_;
    MainLoop::Handle object_;
};

} // namespace kvn::host
