#pragma once

#include "agent/AppDelegate.h"
#include "host/UserInterface.h"

namespace kvn {

/// The commands that any front end can offer as text: the menu's and the helper's, and those of the service
/// that no menu has. The application has launched; it and the front end outlive the commands. Main thread.
host::Commands applicationCommands(AppDelegate& application, host::UserInterface& userInterface);

} // namespace kvn
