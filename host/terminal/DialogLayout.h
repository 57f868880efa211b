#pragma once

#include "host/DialogWindow.h"
#include "host/terminal/Style.h"

#include <string>

namespace kvn::host {

/// The dialog in harmless lines that fit the width: its title, then its rows, labels in one column, the
/// controls numbered from 1.
std::string dialogText(const std::string& title, const DialogRows& rows, const Style& style);

} // namespace kvn::host
