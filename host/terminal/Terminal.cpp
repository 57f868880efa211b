// SPDX-License-Identifier: MIT

#include "host/terminal/Terminal.h"

#include "core/text/TextFunctions.h"
#include "host/terminal/TextLayout.h"

#include <algorithm>
#include <charconv>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace {

/// Returns the first word of a trimmed line, and the text that follows it.
std::pair<std::string_view, std::string_view> splitWord(std::string_view line) {
    const auto end = std::min(line.find_first_of(Kvs::kBlanks), line.size());
    return {line.substr(0, end), Kvs::fTrimmed(line.substr(end))};
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

} // namespace

void Terminal::start(Commands commands, MainLoop::Task onEnd) {
    commands_ = std::move(commands);
    addOwnCommands();
    // Asked now, because isatty returns false once the terminal has been closed.
    const bool fromPerson = isatty(STDIN_FILENO);
    input_.emplace(mainLoop_, STDIN_FILENO,
                   LineReader::Handlers{[this](std::string_view line) { runLine(line); },
                                        [this] { print("error: line too long"); },
                                        [fromPerson, onEnd = std::move(onEnd)] {
                                            if (fromPerson) {
                                                onEnd();
                                            }
                                        }});
    if (fromPerson) {
        print("Type \"help\" for the commands.");
    }
    drawSoon();
}

void Terminal::showState(const std::string& text, const StateDetails& details) {
    state_ = text;
    stateDetails_ = details;
    drawSoon();
}

void Terminal::repeatState() {
    printedState_.clear();
    drawSoon();
}

void Terminal::message(std::string_view text) {
    output_.print(harmless(text));
    drawSoon();
}

void Terminal::showIcon(std::string word, std::optional<Colour> colour) {
    icon_ = std::move(word);
    iconColour_ = colour;
    drawSoon();
}

void Terminal::setMenu(const TerminalPane* menu) {
    if (printedLast_ == menu_) {
        printedLast_ = nullptr;
    }
    menu_ = menu;
}

void Terminal::open(const TerminalPane& dialog, MainLoop::Task close) {
    std::erase_if(dialogs_, [&](const Dialog& open) { return open.pane == &dialog; });
    dialogs_.push_back({&dialog, std::move(close), ""});
    drawSoon();
}

bool Terminal::isOpen(const TerminalPane& dialog) const {
    return std::any_of(dialogs_.begin(), dialogs_.end(),
                       [&](const Dialog& open) { return open.pane == &dialog; });
}

void Terminal::remove(const TerminalPane& dialog) {
    const bool inFront = !dialogs_.empty() && dialogs_.back().pane == &dialog;
    std::erase_if(dialogs_, [&](const Dialog& open) { return open.pane == &dialog; });
    if (printedLast_ == &dialog) {
        printedLast_ = nullptr;
    }
    if (inFront && !dialogs_.empty()) {
        dialogs_.back().printed.clear();
        drawSoon();
    }
}

// MARK: Commands

void Terminal::addOwnCommands() {
    commands_.merge(Commands{
        {"menu", {"prints the menu", [this](auto&) { return printMenu(); }}},
        {"set",
         {"N VALUE: sets number N to on, off, a folder or YYYY-MM-DD HH:MM",
          [this](auto& rest) { return set(rest); }}},
        {"close", {"closes the dialog in front", [this](auto&) { return closeFront(); }}},
        {"help", {"prints this", [this](auto&) { return help(); }}},
    });
}

std::string Terminal::help() const {
    constexpr std::size_t kNameWidth = 13;
    std::string text =
        padded("1, 2, ...", kNameWidth) + "chooses from the menu or dialog that was printed last";
    for (const auto& [name, command] : commands_) {
        text += "\n" + padded(name, kNameWidth) + command.purpose;
    }
    return text;
}

void Terminal::runLine(std::string_view line) {
    output_.lineEntered();
    draw();
    line = Kvs::fTrimmed(line);
    const auto [name, rest] = splitWord(line);
    if (const auto command = commands_.find(name); command != commands_.end()) {
        print(command->second.run(std::string(rest)));
    } else if (isNumber(line)) {
        print(carryOut(choiceOf(line, nullptr)));
    } else if (!line.empty()) {
        print("error: unknown command: " + std::string(line) + " (try \"help\")");
    }
    drawSoon(); // prompts
}

/// Prints the lines of an answer, if there is one.
void Terminal::print(std::string_view text) {
    if (!text.empty()) {
        for (const std::string& line : wrapped(text, text.npos)) {
            output_.print(line);
        }
    }
}

std::string Terminal::printMenu() {
    if (!menu_) {
        return "error: there is no menu while the status item is hidden";
    }
    output_.print(menu_->text(output_.style()));
    printedLast_ = menu_;
    return {};
}

std::string Terminal::set(std::string_view rest) {
    const auto [number, value] = splitWord(rest);
    if (!isNumber(number) || value.empty()) {
        return "error: set takes a number and a value";
    }
    const std::string text(value);
    return carryOut(choiceOf(number, &text));
}

std::string Terminal::closeFront() {
    if (dialogs_.empty()) {
        return "error: no dialog is open";
    }
    return carryOut({"ok", dialogs_.back().close});
}

/// Returns the choice of a number: to press its control, or to set it to the value if there is one.
Choice Terminal::choiceOf(std::string_view number, const std::string* value) const {
    if (!printedLast_) {
        return {"error: nothing is shown to choose from", nullptr};
    }
    std::size_t index = 0; // unchanged for a number that is too large
    std::from_chars(number.data(), number.data() + number.size(), index);
    return value ? printedLast_->set(index, *value) : printedLast_->choose(index);
}

/// Prints the answer before it runs the action, so that the action's lines follow their reason.
std::string Terminal::carryOut(const Choice& choice) {
    output_.print(harmless(choice.answer));
    if (choice.action) {
        choice.action();
    }
    return {};
}

// MARK: Drawing

/// Returns the state in one harmless line: "status: TEXT | server: S | icon: connected".
std::string Terminal::stateLine(const Style& style) const {
    std::string line;
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty()) {
            line += (line.empty() ? "" : " | ") + name + ": " + value;
        }
    };
    add("status", harmless(state_));
    for (const auto& [name, value] : stateDetails_) {
        add(name, harmless(value));
    }
    add("icon", iconColour_ ? inColour(icon_, *iconColour_, style) : icon_);
    return line;
}

void Terminal::drawSoon() {
    if (std::exchange(*drawingPosted_, true)) {
        return;
    }
    mainLoop_.post([this, posted = std::weak_ptr<bool>(drawingPosted_)] {
        if (const auto here = posted.lock()) {
            *here = false;
            draw();
            if (input_) {
                output_.prompt();
            }
        }
    });
}

void Terminal::draw() {
    const Style style = output_.style();
    if (std::string line = stateLine(style); line != printedState_) {
        output_.print(line);
        printedState_ = std::move(line);
    }
    for (Dialog& dialog : dialogs_) {
        if (std::string text = dialog.pane->text(style); text != dialog.printed) {
            output_.print(text);
            dialog.printed = std::move(text);
            printedLast_ = dialog.pane;
        }
    }
}

} // namespace kvn::host
