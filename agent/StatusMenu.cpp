// SPDX-License-Identifier: MIT

#include "agent/StatusMenu.h"

#include <utility>

namespace kvn {

StatusMenu::StatusMenu(const Actions& actions, const Text& text,
                       const std::optional<std::string>& permissionsTitle) {
    const auto status = add(text("TRAY_STATUS_FRM_SERVICE"), actions.getServiceStatus);
    std::get<host::MenuItem>(items_[status]).isDefault = true;
    add(text("TRAY_STATUS_MNU_LOGFILES"), actions.showLogFiles);
    addSeparator();
    add(text("COMBO_SETTINGS"), actions.showSettings);
    if (permissionsTitle) {
        addSeparator();
        add(*permissionsTitle, actions.showPermissions);
    }
    addSeparator();
    startMenuItem_ = add(text("TRAY_STATUS_MNU_STARTCLIENT"), actions.startService);
    stopMenuItem_ = add(text("TRAY_STATUS_MNU_STOPCLIENT"), actions.stopService);
    addSeparator();
    add(text("LV_FORM_HIDE"), actions.hideStatusItem);
}

std::size_t StatusMenu::add(std::string title, Action action) {
    items_.emplace_back(host::MenuItem{std::move(title), std::move(action)});
    return items_.size() - 1;
}

void StatusMenu::addSeparator() { items_.emplace_back(host::MenuSeparator()); }

void StatusMenu::enable(std::size_t item, bool enabled) {
    std::get<host::MenuItem>(items_[item]).enabled = enabled;
}

void StatusMenu::enableFor(ServiceState serviceState, bool startAttemptDidFail) {
    const bool stopped = serviceState == ServiceState::Offline || serviceState > ServiceState::Initial;
    enable(startMenuItem_, stopped && !startAttemptDidFail);
    enable(stopMenuItem_, serviceState == ServiceState::Online || startAttemptDidFail);
}

} // namespace kvn
