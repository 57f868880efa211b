#pragma once

#include "agent/ServiceStatusView.h"
#include "host/MainLoop.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace kvn {

/// Shows the status as a line on standard output whenever it changes, and takes one command a line on
/// standard input. Main thread.
class TerminalFrontEnd final : public ServiceStatusView {
public:
    /// The commands by name; each gives the text that answers it, or an empty one when it has answered.
    using Commands = std::map<std::string, std::function<std::string()>, std::less<>>;

    explicit TerminalFrontEnd(host::MainLoop& mainLoop) : mainLoop_(mainLoop) {}

    /// Begins to read commands. At the end of the input `onEnd` is called, if that input was a person's;
    /// a script that has no more to say leaves the program running.
    void start(Commands commands, host::MainLoop::Task onEnd);

    void showStatus(const std::string& text, const OFRServiceInfo* details) override;

    /// Makes the next `showStatus` print its line also when it says nothing new.
    void forgetShownStatus() { lastStatusLine_.clear(); }

private:
    void readInput();
    void runCommand(std::string_view line);
    void prompt() const;

    host::MainLoop& mainLoop_;
    host::MainLoop::Handle input_;
    Commands commands_;
    host::MainLoop::Task onEnd_;
    std::string unfinishedLine_;
    bool skippingLine_ = false; // the line was too long: what is left of it is no command
    std::string lastStatusLine_;
};

} // namespace kvn
