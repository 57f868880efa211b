// SPDX-License-Identifier: MIT

#pragma once

#include "host/UserInterface.h"
#include "host/posix/LineReader.h"
#include "host/terminal/TerminalOutput.h"
#include "host/terminal/TerminalPane.h"
#include "host/terminal/TextLayout.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvn::host {

/// The user interface in a terminal: takes one command a line on standard input and writes to standard
/// output. A line that is a number chooses from the menu or the dialog that was printed last. Main thread.
///
/// A change is printed by a task of the main loop, so that several changes in one task print once. It is
/// always printed before the next command runs, so that a number refers to the text that the user has seen.
class Terminal {
public:
    explicit Terminal(MainLoop& mainLoop) : mainLoop_(mainLoop) {}
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Begins to read commands: these, and `menu`, `set`, `close` and `help` where they are not among them.
    /// `onEnd` is called at the end of the input if standard input is a terminal; the program keeps running
    /// after the end of a script.
    void start(Commands commands, MainLoop::Task onEnd);

    /// Prints the state's line if it has changed.
    void showState(const std::string& text, const StateDetails& details);

    /// Prints the state's line even if it has not changed.
    void repeatState();

    /// Prints a line for the user, at once.
    void message(std::string_view text);

    // For the renderers of the status bar and the dialogs. A pane stays valid until it is removed.

    /// Sets the word for the status item's picture in the state's line.
    void showIcon(std::string word, std::optional<Colour> colour = std::nullopt);

    /// Sets the menu that the command prints, or null when there is none.
    void setMenu(const TerminalPane* menu);

    /// Prints the dialog and brings it to the front. `close` is called when the user's command closes it.
    void open(const TerminalPane& dialog, MainLoop::Task close);
    bool isOpen(const TerminalPane& dialog) const;

    /// Removes the dialog, and prints the one again that is then in front.
    void remove(const TerminalPane& dialog);

    /// Prints the dialogs whose text has changed.
    void dialogChanged() { drawSoon(); }

private:
    struct Dialog {
        const TerminalPane* pane;
        MainLoop::Task close;
        std::string printed; // empty if it has yet to be printed
    };

    void addOwnCommands();
    void runLine(std::string_view line);
    void print(std::string_view text);

    std::string help() const;
    std::string printMenu();
    std::string set(std::string_view rest);
    std::string closeFront();
    Choice choiceOf(std::string_view number, const std::string* value) const;
    std::string carryOut(const Choice& choice);

    std::string stateLine(const Style& style) const;
    void drawSoon();
    void draw();

    MainLoop& mainLoop_;
    TerminalOutput output_;
    std::optional<LineReader> input_;
    Commands commands_;
    std::string state_; // empty while it is not known
    StateDetails stateDetails_;
    std::string icon_ = "hidden";
    std::optional<Colour> iconColour_;
    std::string printedState_ = stateLine({}); // so that the initial state is not printed
    const TerminalPane* menu_ = nullptr;
    std::vector<Dialog> dialogs_;                                         // the last one is in front
    const TerminalPane* printedLast_ = nullptr;                           // the pane that numbers choose from
    std::shared_ptr<bool> drawingPosted_ = std::make_shared<bool>(false); // the posted task holds it weakly
};

} // namespace kvn::host
