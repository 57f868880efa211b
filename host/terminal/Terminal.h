#pragma once

#include "host/MainLoop.h"
#include "host/posix/LineReader.h"
#include "host/terminal/StateLine.h"
#include "host/terminal/TerminalOutput.h"
#include "host/terminal/TerminalPane.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvn::host {

/// The user interface in a terminal: takes one command a line on standard input and writes to standard
/// output. What changes is printed by a task of the main loop, so that several changes in one task print
/// once; but always before the next command, so that a number means what the person has seen.
///
/// A line that is a number chooses from what was printed last: the menu or a dialog. Main thread.
class Terminal {
public:
    struct Command {
        std::string purpose; // for the help, in a few words

        /// Given what follows the name; gives the text that answers it, or an empty one when it has answered.
        std::function<std::string(const std::string& rest)> run;
    };
    using Commands = std::map<std::string, Command, std::less<>>; // by name

    explicit Terminal(MainLoop& mainLoop) : mainLoop_(mainLoop) {}
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Begins to read commands: these, and `menu`, `set`, `close` and `help` where they are not among
    /// them. At the end of the input `onEnd` is called, if that input was a person's; a script that has no
    /// more to say leaves the program running.
    void start(Commands commands, MainLoop::Task onEnd);

    /// Prints the state's line if it is another than before.
    void showState(const std::string& text, StateDetails details);

    /// Prints the state's line also if it is the same as before.
    void repeatState();

    /// Prints a line for the person, at once.
    void message(std::string_view text);

    // What the renderers of the status bar and the dialogs use; a pane stays valid until it is taken away.

    void showIcon(IconState icon);

    /// The menu that the command prints; null when there is none.
    void setMenu(const TerminalPane* menu);

    /// Prints the dialog and brings it to the front. `close` is what the person's command does to it.
    void open(const TerminalPane& dialog, MainLoop::Task close);
    bool isOpen(const TerminalPane& dialog) const;

    /// Takes the dialog away; the one that is then in front is printed again.
    void remove(const TerminalPane& dialog);

    /// Prints the dialogs whose text is another than before.
    void dialogChanged() { drawSoon(); }

private:
    struct Dialog {
        const TerminalPane* pane;
        MainLoop::Task close;
        std::string printed; // empty: is to be printed
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

    void drawSoon();
    void draw();

    MainLoop& mainLoop_;
    TerminalOutput output_;
    std::optional<LineReader> input_;
    Commands commands_;
    TerminalState state_;
    std::string printedState_ = stateLine(state_, {}); // nothing worth a line yet
    const TerminalPane* menu_ = nullptr;
    std::vector<Dialog> dialogs_;                                         // the last one is in front
    const TerminalPane* printedLast_ = nullptr;                           // what numbers choose from
    std::shared_ptr<bool> drawingPosted_ = std::make_shared<bool>(false); // its posted task holds it weakly
};

} // namespace kvn::host
