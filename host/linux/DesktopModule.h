// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/UserInterface.h"

#include <memory>
#include <string>

namespace kvn::host {

class BusConnection;

/// The desktop front end, a module that is loaded only when it is used: the other front ends do without its
/// toolkit. Main thread; lives until the process ends.
class DesktopModule {
public:
    virtual ~DesktopModule() = default;

    /// Returns why no display can be used, in words for the user; an empty text when one answers.
    virtual std::string displayProblem() = 0;

    /// Returns the loop that serves the display, too. One may exist at a time. Throws an exception whose text
    /// is for the user when no display can be used.
    virtual std::unique_ptr<MainLoop> makeMainLoop() = 0;

    /// The host and its main loop, which is one of `makeMainLoop`, outlive the result.
    virtual std::unique_ptr<UserInterface> makeUserInterface(Host& host,
                                                             std::shared_ptr<BusConnection> sessionBus) = 0;
};

/// Returns the module, which is loaded from the bundle of this program at the first call. Throws an exception
/// whose text is for the user when the module is missing or cannot be loaded.
DesktopModule& desktopModule();

/// Returns true if the module can be loaded and a display answers. If the session names a display, the log
/// tells why it cannot be used.
bool desktopCanBeUsed();

/// The function by which the program gets the module's only object.
using DesktopModuleEntry = DesktopModule* (*)();
inline constexpr const char* kDesktopModuleEntry = "kvnDesktopModule";

} // namespace kvn::host
