// SPDX-License-Identifier: MIT

#pragma once

#include "host/DialogWindow.h"
#include "host/HotKeys.h"
#include "host/MainLoop.h"
#include "host/StatusBar.h"
#include "host/Workspace.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kvn::host {

struct Host;

/// The available front ends.
enum class FrontEnd { None, Terminal, Desktop };

/// A command that the application takes as text.
struct Command {
    std::string purpose; // a few words for the help

    /// Called with the text that follows the command's name. Returns the answer, or an empty text if the
    /// command shows its result itself.
    std::function<std::string(const std::string& rest)> run;
};
using Commands = std::map<std::string, Command, std::less<>>; // by name

/// Names and values, in the order in which they are shown. A name without a value is left out.
using StateDetails = std::vector<std::pair<std::string, std::string>>;

/// A front end: shows the agent to the user, and passes on the user's requests. Main thread; outlives the
/// application that it shows.
class UserInterface {
public:
    virtual ~UserInterface() = default;

    virtual StatusBar& statusBar() = 0;
    virtual DialogWindow& dialogWindow() = 0;
    virtual DialogWindow& permissionWindow() = 0;
    virtual Workspace& workspace() = 0;
    virtual HotKeys& hotKeys() = 0;

    /// Called once, when the application has launched and before the main loop runs. A front end that takes
    /// commands as text offers these. `terminate` ends the application in an orderly way; the front end calls
    /// it when the user quits.
    virtual void start(Commands commands, MainLoop::Task terminate) = 0;

    /// Tells the user of an event outside all windows, where the desktop has a place for that. Takes the
    /// place of an earlier notice with this title.
    virtual void notify(const std::string& /*title*/, const std::string& /*text*/) {}

    // A text front end shows the following; a graphical one may ignore it.

    /// Called with the service's state after each answer of the service, and each failure to get one.
    virtual void showState(const std::string& /*text*/, const StateDetails& /*details*/) {}

    /// Called when the user asks for the state, which is then shown again even if it has not changed.
    virtual void repeatState() {}

    /// Called with the result of a request of the user, in one line.
    virtual void message(const std::string& /*text*/) {}
};

// The factories of the front ends, each defined in its own folder. The host outlives the result. Main thread.
std::unique_ptr<UserInterface> makeNoUserInterface(Host& host);
std::unique_ptr<UserInterface> makeTerminalUserInterface(Host& host);
std::unique_ptr<UserInterface> makeDesktopUserInterface(Host& host);

} // namespace kvn::host
