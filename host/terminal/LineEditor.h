// SPDX-License-Identifier: MIT

#pragma once

#include "host/MainLoop.h"
#include "host/terminal/Libedit.h"
#include "host/terminal/TerminalOutput.h"

#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <termios.h>
#include <vector>

namespace kvn::host {

/// The line that a person types at a terminal, with a prompt, a history and completion; libedit edits it, key
/// by key, so that the main loop goes on between the keys. The history is kept in memory only, because
/// commands can contain secrets.
///
/// The terminal has its own settings again at the end, and while the shell has stopped the program (SIGTSTP,
/// SIGCONT). libedit prints into memory, from where `TerminalOutput` takes it: a stopped terminal holds
/// nothing up. Main thread.
class LineEditor {
public:
    struct Handlers {
        // None of them may destroy the editor.
        std::function<void(std::string_view)> onLine; // without its line end
        MainLoop::Task onEnd;                         // Ctrl-D in an empty line, or the terminal is gone

        /// Returns the lines that begin with the text before the cursor.
        std::function<std::vector<std::string>(const std::string&)> completions;

        /// Called with the completions when there are several and the text cannot grow.
        std::function<void(const std::vector<std::string>&)> onChoices;
    };

    /// Returns true if standard input and output are a terminal whose cursor can be moved, and libedit is
    /// there.
    static bool isPossible();

    /// An editor is possible. The output outlives it. Nothing is shown before `show`.
    LineEditor(MainLoop& mainLoop, TerminalOutput& output, Handlers handlers);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /// Returns true if the line has been begun.
    bool hasText() const { return lineLength() > 0 || !bytes_.empty(); }

    /// Removes prompt and line from the terminal, so that other text can be printed in their place.
    void hide();

    /// Shows the prompt and what has been typed, unless they are shown.
    void show();

private:
    void begin();
    void takeTerminal();
    void giveTerminalBack();
    void stop();
    void windowChanged();
    void readInput();
    void takeKeys();
    void takeKey();
    void startNewLine();
    void printWhatLibeditPrinted();
    void forgetWhatLibeditPrinted();
    int nextCharacter(wchar_t& character);
    unsigned char complete();
    std::size_t lineLength() const;

    const Libedit& libedit_ = *Libedit::load();
    MainLoop& mainLoop_;
    TerminalOutput& output_;
    const Handlers handlers_;
    termios ownSettings_{}; // the terminal's, before the editor changes them

    char* printed_ = nullptr; // by libedit; owned by the stream
    std::size_t printedSize_ = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
    std::unique_ptr<EditLine, void (*)(EditLine*)> editor_; // null until the program is in the foreground
    std::unique_ptr<History, void (*)(History*)> history_;
    MainLoop::Handle input_; // while the editor has the terminal
    MainLoop::Handle stopping_;
    MainLoop::Handle continuing_;
    MainLoop::Handle resizing_;

    std::string bytes_; // typed, up to the next whole key
    std::string key_;
    std::deque<wchar_t> characters_; // of the key, which libedit has yet to take
    std::vector<std::string> choices_;
    bool shown_ = false;
};

} // namespace kvn::host
