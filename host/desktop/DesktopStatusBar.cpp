// SPDX-License-Identifier: MIT

#include "host/desktop/DesktopStatusBar.h"

#include <utility>

namespace kvn::host {

DesktopStatusBar::DesktopStatusBar(Host&, std::shared_ptr<BusConnection> sessionBus)
    : sessionBus_(std::move(sessionBus)) {}

DesktopStatusBar::~DesktopStatusBar() = default;

void DesktopStatusBar::showItem(const Menu&) {}
void DesktopStatusBar::removeItem() {}
void DesktopStatusBar::updateItem(const StatusImage&) {}
void DesktopStatusBar::describe(const std::string&) {}

} // namespace kvn::host
