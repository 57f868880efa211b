// SPDX-License-Identifier: MIT

#pragma once

#include "host/Bundle.h"
#include "host/UserInterface.h"
#include "host/posix/LineReader.h"
#include "host/terminal/LineEditor.h"
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
/// output. A person at a terminal edits the line; a script's lines are taken as they come. Main thread.
///
/// A line that is a number chooses from the front pane: the menu or the dialog that the person opened last. A
/// dialog that comes up by itself becomes the front pane only if there is none and nothing is typed. Else it
/// waits: one line announces it, and it has neither numbers nor the command `close` until the command
/// `dialog` shows it.
///
/// A change is printed by a task of the main loop, so that several changes in one task print once. Of a
/// dialog, only the changed rows of the front pane are printed.
class Terminal {
public:
    /// The bundle has the texts for the person.
    Terminal(MainLoop& mainLoop, const Bundle& bundle);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Begins to read commands: these, and `menu`, `dialog`, `set`, `close` and `help` where they are not
    /// among them. `onEnd` is called at the end of the input if standard input is a terminal; the program
    /// keeps running after the end of a script.
    void start(Commands commands, MainLoop::Task onEnd);

    /// Prints the state's line if it has changed.
    void showState(const std::string& text, const StateDetails& details);

    /// Prints the state's line even if it has not changed.
    void repeatState();

    /// Prints a line for the user, at once.
    void message(std::string_view text);

    /// Returns the text of the key in the person's language.
    std::string localized(const char* key) const { return bundle_.localizedString(key); }

    /// Keeps a stopped terminal from holding up what is written to standard error.
    void shareWithStandardError() const { output_.shareWithStandardError(); }

    // For the renderers of the status bar and the dialogs. A pane stays valid until it is removed.

    /// Sets the word for the status item's picture in the state's line.
    void showIcon(std::string word, std::optional<Colour> colour = std::nullopt);

    /// Sets the menu that the command prints, or null when there is none.
    void setMenu(const TerminalPane* menu);

    /// Opens the dialog, as the front pane or to wait. `close` is called when the user's command closes it.
    void open(const TerminalPane& dialog, MainLoop::Task close);
    bool isOpen(const TerminalPane& dialog) const;

    /// Removes the dialog. If a command of the person does that, another open dialog becomes the front pane.
    void remove(const TerminalPane& dialog);

    /// Prints what has changed of the front pane.
    void dialogChanged() { drawSoon(); }

private:
    struct Dialog {
        const TerminalPane* pane;
        MainLoop::Task close;
        bool waits = false;     // came up by itself, and the person has not turned to it
        bool announced = false; // while it waits
        std::string printed;    // empty if it has yet to be printed
    };

    void addOwnCommands();
    void runLine(std::string_view line);
    void print(std::string_view text);
    void printLine(std::string_view harmlessText);
    Style style() const;
    std::vector<std::string> completions(const std::string& beginning) const;

    std::string help() const;
    std::string printMenu();
    std::string showDialog();
    std::string set(std::string_view rest);
    std::string closeFront();
    Choice choiceOf(std::string_view number, const std::string* value) const;
    std::optional<std::size_t> numberOf(std::string_view name) const;
    void turnTo(Dialog& dialog);
    std::string carryOut(const Choice& choice);

    std::string stateLine(const Style& style) const;
    void drawSoon();
    void draw();
    void drawDialog(Dialog& dialog, const Style& style);

    MainLoop& mainLoop_;
    const Bundle& bundle_;
    const bool wraps_; // a terminal; a script gets whole lines
    TerminalOutput output_;
    std::optional<LineReader> input_;  // of a script
    std::optional<LineEditor> editor_; // of a person
    bool commanded_ = false;           // while a command runs
    Commands commands_;
    std::string state_; // empty while it is not known
    StateDetails stateDetails_;
    std::string icon_ = "hidden";
    std::optional<Colour> iconColour_;
    std::string printedState_ =
        stateLine({.width = std::string::npos}); // so that the initial state is not printed
    const TerminalPane* menu_ = nullptr;
    std::vector<Dialog> dialogs_; // in the order in which they were opened or turned to
    const TerminalPane* front_ = nullptr;
    std::shared_ptr<bool> drawingPosted_ = std::make_shared<bool>(false); // the posted task holds it weakly
};

} // namespace kvn::host
