// SPDX-License-Identifier: MIT

#include "host/terminal/LineEditor.h"

#include "host/terminal/TerminalKeys.h"
#include "host/terminal/TextLayout.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cwchar>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace kvn::host {

namespace {

constexpr char kProgram[] = "KvnGUIAgent";
constexpr char kPrompt[] = "> ";
constexpr std::size_t kLongestLine = 4096;
constexpr int kHistoryLength = 200;
constexpr char kEndOfInput = '\004';
constexpr std::string_view kBackspace = "\x7F";

/// Makes this thread's character set UTF-8 for a scope, because libedit asks the locale for it.
class InUtf8 {
public:
    InUtf8() : former_(uselocale(utf8())) {}
    ~InUtf8() { uselocale(former_); }
    InUtf8(const InUtf8&) = delete;
    InUtf8& operator=(const InUtf8&) = delete;

private:
    static locale_t utf8() {
        static const locale_t locale = [] {
            const locale_t plain = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
            return plain ? plain : newlocale(LC_CTYPE_MASK, "en_US.UTF-8", nullptr);
        }();
        return locale; // null leaves the locale as it is
    }
    const locale_t former_;
};

/// Returns false if another program has the terminal at present: taking it would stop this one.
bool inForeground() {
    const pid_t group = tcgetpgrp(STDIN_FILENO);
    return group == -1 || group == getpgrp();
}

std::string commonBeginning(const std::vector<std::string>& texts) {
    std::string common = texts.front();
    for (const std::string& text : texts) {
        const auto end = std::mismatch(common.begin(), common.end(), text.begin(), text.end()).first;
        common.erase(end, common.end());
    }
    while (!common.empty() && harmless(common) != common) {
        common.pop_back(); // a part of a character
    }
    return common;
}

LineEditor& ownerOf(EditLine* editor) {
    LineEditor* owner = nullptr;
    Libedit::load()->get(editor, EL_CLIENTDATA, &owner);
    return *owner;
}

} // namespace

bool LineEditor::isPossible() {
    const char* type = std::getenv("TERM");
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && type && *type &&
           std::string_view(type) != "dumb" && Libedit::load();
}

LineEditor::LineEditor(MainLoop& mainLoop, TerminalOutput& output, Handlers handlers)
    : mainLoop_(mainLoop), output_(output), handlers_(std::move(handlers)),
      stream_(open_memstream(&printed_, &printedSize_), &std::fclose), editor_(nullptr, libedit_.end),
      history_(libedit_.historyInit(), libedit_.historyEnd),
      stopping_(mainLoop.onSignal(SIGTSTP, [this] { stop(); })),
      continuing_(mainLoop.onSignal(SIGCONT, [this] { takeTerminal(); })),
      resizing_(mainLoop.onSignal(SIGWINCH, [this] { windowChanged(); })) {
    takeTerminal();
}

LineEditor::~LineEditor() {
    hide();
    giveTerminalBack();
    if (editor_) {
        // `el_end` sets the terminal's settings once more and would wait for a stopped terminal. It does not
        // reach the terminal from the stream in memory, which has no descriptor.
        libedit_.set(editor_.get(), EL_SETFP, 0, stream_.get());
        const InUtf8 utf8;
        editor_.reset();
    }
    stream_.reset();
    std::free(printed_);
}

void LineEditor::begin() {
    tcgetattr(STDIN_FILENO, &ownSettings_);
    editor_.reset(libedit_.initFd(kProgram, stdin, stream_.get(), stream_.get(), STDIN_FILENO, STDOUT_FILENO,
                                  STDERR_FILENO));
    EditLine* const editor = editor_.get();
    HistEvent ignored;
    libedit_.history(history_.get(), &ignored, H_SETSIZE, kHistoryLength);
    libedit_.history(history_.get(), &ignored, H_SETUNIQUE, 1);
    libedit_.set(editor, EL_CLIENTDATA, this);
    libedit_.set(editor, EL_EDITOR, "emacs");
    libedit_.set(editor, EL_HIST, libedit_.history, history_.get());
    libedit_.set(
        editor, EL_PROMPT, +[](EditLine*) { return const_cast<char*>(kPrompt); });
    libedit_.set(
        editor, EL_GETCFN,
        +[](EditLine* of, wchar_t* character) { return ownerOf(of).nextCharacter(*character); });
    // This one keeps the texts; that of narrow characters copies them and never frees the copies.
    libedit_.wideSet(
        editor, EL_ADDFN, L"complete-command", L"Completes a command",
        +[](EditLine* of, int) { return ownerOf(of).complete(); });
    libedit_.set(editor, EL_BIND, "^I", "complete-command", nullptr);
    // These would read more keys before they return.
    libedit_.set(editor, EL_BIND, "^R", "ed-search-prev-history", nullptr);
    libedit_.set(editor, EL_BIND, "^V", "ed-ignore", nullptr);
}

// MARK: The terminal

void LineEditor::takeTerminal() {
    if (input_ || !inForeground()) {
        return;
    }
    const InUtf8 utf8;
    if (editor_) {
        libedit_.set(editor_.get(), EL_PREP_TERM, 1);
    } else {
        begin();
        libedit_.set(editor_.get(), EL_UNBUFFERED, 1);
        forgetWhatLibeditPrinted();
    }
    input_ = mainLoop_.watchReadable(STDIN_FILENO, [this] { readInput(); });
    show();
}

void LineEditor::giveTerminalBack() {
    if (input_) {
        input_.reset();
        tcsetattr(STDIN_FILENO, TCSANOW, &ownSettings_); // does not wait for a stopped terminal
    }
}

void LineEditor::stop() {
    hide();
    if (editor_) {
        const InUtf8 utf8;
        libedit_.set(editor_.get(), EL_PREP_TERM, 0);
    }
    giveTerminalBack();
    stopping_.reset(); // so that the signal's own action stops the program
    std::raise(SIGTSTP);
    stopping_ = mainLoop_.onSignal(SIGTSTP, [this] { stop(); });
    takeTerminal();
}

void LineEditor::windowChanged() {
    if (editor_) {
        hide();
        const InUtf8 utf8;
        libedit_.resize(editor_.get());
        forgetWhatLibeditPrinted();
        show();
    }
}

void LineEditor::hide() {
    if (!std::exchange(shown_, false)) {
        return;
    }
    const InUtf8 utf8;
    const LineInfo* line = libedit_.line(editor_.get());
    const std::size_t columns = displayWidth(harmless(kPrompt + std::string(line->buffer, line->cursor)));
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    const std::size_t rows = columns / (known ? size.ws_col : 80U);
    // To the first of the rows, and clear everything from there.
    output_.write("\r" + (rows > 0 ? "\033[" + std::to_string(rows) + "A" : "") + "\033[J");
}

void LineEditor::show() {
    if (input_ && !std::exchange(shown_, true)) {
        const InUtf8 utf8;
        libedit_.set(editor_.get(), EL_REFRESH);
        printWhatLibeditPrinted();
    }
}

void LineEditor::printWhatLibeditPrinted() {
    std::fflush(stream_.get());
    output_.write({printed_, printedSize_});
    forgetWhatLibeditPrinted();
}

void LineEditor::forgetWhatLibeditPrinted() {
    std::fflush(stream_.get());
    std::rewind(stream_.get());
}

// MARK: Keys

void LineEditor::readInput() {
    char buffer[512];
    const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (count > 0) {
        bytes_.append(buffer, static_cast<std::size_t>(count));
        takeKeys();
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        giveTerminalBack();
        handlers_.onEnd();
    }
}

void LineEditor::takeKeys() {
    while (const std::size_t length = lengthOfKey(bytes_)) {
        key_ = bytes_.substr(0, length);
        bytes_.erase(0, length);
        const bool isText = static_cast<unsigned char>(key_[0]) >= ' ' && key_ != kBackspace;
        if (isUnknown(key_) || (isText && (key_ != harmless(key_) || lineLength() >= kLongestLine))) {
            continue;
        }
        show();
        takeKey();
    }
}

/// Lets libedit do what the key says. It asks `nextCharacter` for the key's characters and never waits for
/// more: a command of it that wants another key is given up.
void LineEditor::takeKey() {
    const InUtf8 utf8;
    std::mbstate_t state{};
    for (std::size_t at = 0; at < key_.size();) {
        wchar_t character = 0;
        const std::size_t size = std::mbrtowc(&character, key_.data() + at, key_.size() - at, &state);
        characters_.push_back(character);
        at += std::clamp<std::size_t>(size, 1, key_.size() - at); // not UTF-8, and NUL: one byte
    }
    int size = 0;
    const char* text = libedit_.gets(editor_.get(), &size);
    characters_.clear();
    printWhatLibeditPrinted();
    if (!choices_.empty()) {
        handlers_.onChoices(std::exchange(choices_, {}));
    }
    if (!text || size <= 0) {
        return;
    }
    const std::string line(text, static_cast<std::size_t>(size));
    if (line.back() == kEndOfInput) { // also left behind by commands that were given up
        const bool end = line.size() == 1 && key_.front() == kEndOfInput;
        hide();
        startNewLine();
        end ? handlers_.onEnd() : show();
    } else if (line.back() == '\n') {
        shown_ = false; // the line stays, and the cursor is below it
        startNewLine();
        HistEvent ignored;
        if (line.size() > 1) {
            libedit_.history(history_.get(), &ignored, H_ENTER, line.c_str());
        }
        handlers_.onLine(std::string_view(line).substr(0, line.size() - 1));
    }
}

/// Makes libedit forget the line. It begins a new one, with its prompt, which `show` prints.
void LineEditor::startNewLine() {
    libedit_.set(editor_.get(), EL_UNBUFFERED, 0);
    libedit_.set(editor_.get(), EL_UNBUFFERED, 1);
    forgetWhatLibeditPrinted();
}

int LineEditor::nextCharacter(wchar_t& character) {
    if (characters_.empty()) {
        return 0;
    }
    character = characters_.front();
    characters_.pop_front();
    return 1;
}

unsigned char LineEditor::complete() {
    const LineInfo* line = libedit_.line(editor_.get());
    const std::string before(line->buffer, line->cursor);
    std::vector<std::string> found = handlers_.completions(before);
    if (found.empty()) {
        return CC_REFRESH_BEEP;
    }
    const std::string common = commonBeginning(found);
    if (common.size() > before.size()) {
        libedit_.insertText(editor_.get(), common.substr(before.size()).c_str());
        return CC_REFRESH;
    }
    if (found.size() > 1) {
        choices_ = std::move(found);
    }
    return CC_NORM;
}

std::size_t LineEditor::lineLength() const {
    if (!editor_) {
        return 0;
    }
    const InUtf8 utf8;
    const LineInfo* line = libedit_.line(editor_.get());
    return static_cast<std::size_t>(line->lastchar - line->buffer);
}

} // namespace kvn::host
