// SPDX-License-Identifier: MIT

#include "host/terminal/Terminal.h"

#include "core/text/TextFunctions.h"
#include "host/terminal/DialogLayout.h"
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

std::string withReplacement(std::string text, std::string_view placeholder, std::string_view value) {
    if (const auto at = text.find(placeholder); at != text.npos) {
        text.replace(at, placeholder.size(), value);
    }
    return text;
}

} // namespace

Terminal::Terminal(MainLoop& mainLoop, const Bundle& bundle)
    : mainLoop_(mainLoop), bundle_(bundle), wraps_(isatty(STDOUT_FILENO)),
      output_(mainLoop, [this](std::size_t linesLeftOut) {
          if (linesLeftOut > 0) {
              message(withReplacement(localized("TerminalLinesLeftOut"), "#Count#",
                                      std::to_string(linesLeftOut)));
          }
          drawSoon(); // the line being typed, too, may lack something
      }) {}

void Terminal::start(Commands commands, MainLoop::Task onEnd) {
    commands_ = std::move(commands);
    addOwnCommands();
    // Asked now, because isatty returns false once the terminal has been closed.
    const bool fromPerson = isatty(STDIN_FILENO);
    if (fromPerson) {
        print(localized("TerminalHelpHint"));
    }
    if (LineEditor::isPossible()) {
        editor_.emplace(
            mainLoop_, output_,
            LineEditor::Handlers{[this](std::string_view line) { runLine(line); }, std::move(onEnd),
                                 [this](const std::string& beginning) { return completions(beginning); },
                                 [this](const std::vector<std::string>& choices) {
                                     std::string all;
                                     for (const std::string& choice : choices) {
                                         all += (all.empty() ? "" : ", ") + choice;
                                     }
                                     print(all);
                                     drawSoon();
                                 }});
    } else {
        input_.emplace(mainLoop_, STDIN_FILENO,
                       LineReader::Handlers{[this](std::string_view line) { runLine(line); },
                                            [this] { print("error: line too long"); },
                                            [fromPerson, onEnd = std::move(onEnd)] {
                                                if (fromPerson) {
                                                    onEnd();
                                                }
                                            }});
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
    print(harmless(text));
    drawSoon();
}

void Terminal::showIcon(std::string word, std::optional<Colour> colour) {
    icon_ = std::move(word);
    iconColour_ = colour;
    drawSoon();
}

void Terminal::setMenu(const TerminalPane* menu) {
    if (front_ == menu_) {
        front_ = nullptr;
    }
    menu_ = menu;
}

void Terminal::open(const TerminalPane& dialog, MainLoop::Task close) {
    // What has been typed may be a number, too, of a menu further up.
    const bool waits = !commanded_ && (front_ || (editor_ && editor_->hasText()));
    std::erase_if(dialogs_, [&](const Dialog& open) { return open.pane == &dialog; });
    dialogs_.push_back({.pane = &dialog, .close = std::move(close), .waits = waits, .printed = ""});
    if (!waits) {
        front_ = &dialog;
    } else if (front_ == &dialog) {
        front_ = nullptr; // its numbers mean something else now
    }
    drawSoon();
}

bool Terminal::isOpen(const TerminalPane& dialog) const {
    return std::any_of(dialogs_.begin(), dialogs_.end(),
                       [&](const Dialog& open) { return open.pane == &dialog; });
}

void Terminal::remove(const TerminalPane& dialog) {
    std::erase_if(dialogs_, [&](const Dialog& open) { return open.pane == &dialog; });
    if (front_ == &dialog) {
        front_ = nullptr;
        if (commanded_ && !dialogs_.empty()) {
            turnTo(dialogs_.back());
        }
    }
}

void Terminal::turnTo(Dialog& dialog) {
    dialog.waits = false;
    dialog.printed.clear();
    front_ = dialog.pane;
    drawSoon();
}

// MARK: Commands

void Terminal::addOwnCommands() {
    commands_.merge(Commands{
        {"menu", {"prints the menu", [this](auto&) { return printMenu(); }}},
        {"set",
         {"N VALUE: sets N to on, off, a folder or YYYY-MM-DD HH:MM",
          [this](auto& rest) { return set(rest); }}},
        {"dialog",
         {"shows the dialog that has come up, or the next one", [this](auto&) { return showDialog(); }}},
        {"close", {"closes the dialog that you opened last", [this](auto&) { return closeFront(); }}},
        {"help", {"prints this", [this](auto&) { return help(); }}},
    });
}

std::string Terminal::help() const {
    constexpr std::size_t kNameWidth = 13;
    const std::size_t width = style().width - kNameWidth;
    std::string text;
    const auto add = [&](std::string name, std::string_view purpose) {
        for (const std::string& line : wrapped(purpose, width)) {
            text += (text.empty() ? "" : "\n") + padded(std::exchange(name, ""), kNameWidth) + line;
        }
    };
    add("1, 2, ...", "chooses from the menu or dialog that was printed last");
    for (const auto& [name, command] : commands_) {
        add(name, command.purpose);
    }
    return text;
}

void Terminal::runLine(std::string_view line) {
    draw();
    commanded_ = true;
    line = Kvs::fTrimmed(line);
    const auto [name, rest] = splitWord(line);
    if (const auto command = commands_.find(name); command != commands_.end()) {
        print(command->second.run(std::string(rest)));
    } else if (isNumber(line)) {
        print(carryOut(choiceOf(line, nullptr)));
    } else if (const auto number = numberOf(line)) {
        print(carryOut(front_->choose(*number)));
    } else if (!line.empty()) {
        print("error: unknown command: " + std::string(line) + " (try \"help\")");
    }
    commanded_ = false;
    drawSoon(); // shows the prompt
}

/// Returns the commands, and what the front pane has to choose from, that begin with the text.
std::vector<std::string> Terminal::completions(const std::string& beginning) const {
    std::vector<std::string> found;
    const auto add = [&](const std::string& text) {
        if (text.starts_with(beginning)) {
            found.push_back(harmless(text));
        }
    };
    for (const auto& [name, command] : commands_) {
        add(name);
    }
    if (front_) {
        const auto choices = front_->choices();
        std::for_each(choices.begin(), choices.end(), add);
    }
    return found;
}

/// Prints the lines of the text, if there are any. A terminal must not break them within words.
void Terminal::print(std::string_view text) {
    if (!text.empty()) {
        for (const std::string& line : wrapped(text, wraps_ ? style().width : text.npos)) {
            printLine(line);
        }
    }
}

void Terminal::printLine(std::string_view harmlessText) {
    if (editor_) {
        editor_->hide();
    }
    output_.print(harmlessText);
}

Style Terminal::style() const {
    Style style = output_.style();
    style.disabled = harmless(localized("TerminalDisabled"));
    return style;
}

std::string Terminal::printMenu() {
    if (!menu_) {
        return "error: there is no menu while the status item is hidden; \"show\" shows it";
    }
    printLine(menu_->text(style()));
    front_ = menu_;
    return {};
}

std::string Terminal::showDialog() {
    if (dialogs_.empty()) {
        return "error: no dialog is open";
    }
    auto next = std::find_if(dialogs_.begin(), dialogs_.end(), [](const Dialog& open) { return open.waits; });
    if (next == dialogs_.end()) {
        next = dialogs_.begin(); // the one that the person has not turned to for the longest time
    }
    std::rotate(next, next + 1, dialogs_.end());
    turnTo(dialogs_.back());
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
    const auto last =
        std::find_if(dialogs_.rbegin(), dialogs_.rend(), [](const Dialog& open) { return !open.waits; });
    if (last == dialogs_.rend()) {
        return dialogs_.empty()
                   ? "error: no dialog is open"
                   : "error: you have opened no dialog; \"dialog\" shows the one that has come up";
    }
    return carryOut({"ok", last->close});
}

/// Returns the choice of a number: to press its control, or to set it to the value if there is one.
Choice Terminal::choiceOf(std::string_view number, const std::string* value) const {
    if (!front_) {
        return {"error: nothing is shown to choose from", nullptr};
    }
    std::size_t index = 0; // unchanged for a number that is too large
    std::from_chars(number.data(), number.data() + number.size(), index);
    return value ? front_->set(index, *value) : front_->choose(index);
}

/// Returns the number of what has this name in the front pane.
std::optional<std::size_t> Terminal::numberOf(std::string_view name) const {
    const auto choices = front_ && !name.empty() ? front_->choices() : std::vector<std::string>();
    const auto found = std::find(choices.begin(), choices.end(), name);
    return found == choices.end() ? std::nullopt
                                  : std::optional(static_cast<std::size_t>(found - choices.begin()) + 1);
}

/// Prints the answer before it runs the action, so that the action's lines follow their reason.
std::string Terminal::carryOut(const Choice& choice) {
    print(harmless(choice.answer));
    if (choice.action) {
        choice.action();
    }
    return {};
}

// MARK: Drawing

/// Returns the state in harmless text: "status: TEXT | server: S | icon: connected", in as many lines as the
/// width asks for.
std::string Terminal::stateLine(const Style& style) const {
    std::string text;
    std::size_t width = 0;
    const auto add = [&](const std::string& name, const std::string& value, std::optional<Colour> colour) {
        if (value.empty()) {
            return;
        }
        const std::size_t own = displayWidth(name + ": " + value);
        const bool fits = width + own <= style.width - 3;
        text += text.empty() ? "" : fits ? " | " : "\n  ";
        width = (text.empty() ? 0 : fits ? width + 3 : 2) + own;
        text += name + ": " + (colour ? inColour(value, *colour, style) : value);
    };
    add("status", harmless(state_), std::nullopt);
    for (const auto& [name, value] : stateDetails_) {
        add(name, harmless(value), std::nullopt);
    }
    add("icon", icon_, iconColour_);
    return text;
}

void Terminal::drawSoon() {
    if (std::exchange(*drawingPosted_, true)) {
        return;
    }
    mainLoop_.post([this, posted = std::weak_ptr<bool>(drawingPosted_)] {
        if (const auto here = posted.lock()) {
            *here = false;
            draw();
            if (editor_) {
                editor_->show();
            }
        }
    });
}

void Terminal::draw() {
    const Style style = this->style();
    Style oneLine = style;
    oneLine.width = std::string::npos;
    if (std::string line = stateLine(oneLine); line != printedState_) {
        printLine(wraps_ ? stateLine(style) : line);
        printedState_ = std::move(line);
    }
    for (Dialog& dialog : dialogs_) {
        drawDialog(dialog, style);
    }
}

void Terminal::drawDialog(Dialog& dialog, const Style& style) {
    if (dialog.waits && !std::exchange(dialog.announced, true)) {
        print(withReplacement(localized("TerminalDialogWaits"), "#Title#", dialog.pane->title()));
    }
    if (dialog.pane != front_) {
        return;
    }
    std::string text = dialog.pane->text(style);
    if (text != dialog.printed) {
        printLine(dialog.printed.empty() ? text : changedRows(dialog.printed, text));
        dialog.printed = std::move(text);
    }
}

} // namespace kvn::host
