// SPDX-License-Identifier: MIT

#include "host/terminal/LineEditor.h"
#include "tests/support/Test.h"

#include "core/system/FileDescriptor.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/terminal/Terminal.h"
#include "host/terminal/TerminalDialogWindow.h"
#include "tests/support/ManualMainLoop.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

namespace kvn::test {
namespace {

/// A terminal of 30 columns in place of standard input and output.
class LineEditorTest : public testing::Test {
protected:
    LineEditorTest() {
        EXPECT_TRUE(person && grantpt(person.get()) == 0 && unlockpt(person.get()) == 0);
        tty = Kvs::FileDescriptor(::open(ptsname(person.get()), O_RDWR | O_NOCTTY));
        const winsize size{.ws_row = 20, .ws_col = 30, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(ioctl(tty.get(), TIOCSWINSZ, &size), 0);
        EXPECT_EQ(tcgetattr(tty.get(), &before), 0);
        dup2(tty.get(), STDIN_FILENO);
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
        shownBy([this] {
            talk.emplace(loop, bundle);
            talk->start({{"say", {"", [](auto& rest) { return "said " + rest; }}},
                         {"save", {"", [](auto&) { return "saved"; }}}},
                        [this] { ++inputEnds; });
        });
    }

    ~LineEditorTest() override { dup2(realInput_.get(), STDIN_FILENO); }

    /// Returns what the terminal shows after the action and the tasks that it posts.
    template <class Action>
    std::string shownBy(Action action) {
        const Kvs::FileDescriptor realOutput(dup(STDOUT_FILENO)); // where a failed expectation is told
        dup2(tty.get(), STDOUT_FILENO);
        action();
        loop.runPending();
        dup2(realOutput.get(), STDOUT_FILENO);
        return seen();
    }

    std::string seen() const {
        std::string text;
        char buffer[1024];
        for (pollfd readable{person.get(), POLLIN, 0}; poll(&readable, 1, 0) == 1;) {
            const ssize_t count = read(person.get(), buffer, sizeof buffer);
            if (count <= 0) {
                break;
            }
            text.append(buffer, static_cast<std::size_t>(count));
        }
        return text;
    }
    std::string typed(const std::string& keys) {
        EXPECT_EQ(write(person.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
        return shownBy([this] { loop.fireReadable(STDIN_FILENO); });
    }

    FakeClock clock;
    ManualMainLoop loop{clock};
    const host::PortablePropertyList propertyList;
    const host::AppBundle bundle{"/none", propertyList}; // returns the key of each text
    Kvs::FileDescriptor person{posix_openpt(O_RDWR | O_NOCTTY)};
    Kvs::FileDescriptor tty;
    termios before{};
    std::optional<host::Terminal> talk;
    int inputEnds = 0;

private:
    Kvs::FileDescriptor realInput_{dup(STDIN_FILENO)};
};

TEST_F(LineEditorTest, EditsTheLine) {
    const std::pair<const char*, const char*> cases[] = {
        {"say ac\x02"
         "b\r",
         "said abc\r\n"},             // Ctrl-B goes back
        {"\033[A\r", "said abc\r\n"}, // the history
        {"\033", ""},                 // a key that is not complete holds nothing up
        {"[A\r", "said abc\r\n"},
        {"say \xC3", ""},
        {"\xA4\x9B\xFF\033[99~\r", "said \u00E4\r\n"}, // neither control characters nor unknown keys
        {"say a\x12\x16z\x15say b\r", "said b\r\n"},   // commands that would wait for a key
        {"sa\ty x\r", "save, say\r\n"},                // several completions are shown
        {"sav\t\r", "saved\r\n"},
        {"nothing\t\x15", ""},
    };
    for (const auto& [keys, shown] : cases) {
        EXPECT_THAT(typed(keys), HasSubstr(shown)) << keys;
    }
    EXPECT_EQ(inputEnds, 0);
    typed("x\x04\x15"); // Ctrl-D deletes in a line
    EXPECT_EQ(inputEnds, 0);
    typed("\x04");
    EXPECT_EQ(inputEnds, 1);
}

TEST_F(LineEditorTest, KeepsTheTypedTextWhenOtherTextComes) {
    EXPECT_EQ(typed("say x"), "say x");
    EXPECT_EQ(shownBy([&] { talk->message("words that go on and on and go on"); }),
              "\r\033[Jwords that go on and on and go\r\non\r\n> say x");
    typed(std::string(30, 'y'));
    EXPECT_THAT(shownBy([&] { talk->message("note"); }),
                testing::StartsWith("\r\033[1A\033[Jnote\r\n> say xyyy")); // the line had two rows
    EXPECT_THAT(typed("\r"), HasSubstr("\nsaid\r\nx" + std::string(29, 'y') + "\r\ny\r\n> "));
}

TEST_F(LineEditorTest, MakesADialogWaitWhileANumberIsTyped) {
    host::TerminalDialogWindow window(*talk);
    typed("1");
    const auto open = [&] { window.show("T", {{"b", "", host::DialogButton{"Go", nullptr}}}, {}); };
    EXPECT_THAT(shownBy(open), HasSubstr("\033[JTerminalDialogWaits\r\n> 1"));
    EXPECT_THAT(typed("\r"), HasSubstr("error: nothing is shown to\r\n"));
    EXPECT_THAT(typed("dialog\r1\r"), HasSubstr("ok: Go\r\n"));
}

TEST_F(LineEditorTest, IsNotHeldUpByAStoppedTerminal) {
    ASSERT_EQ(tcflow(tty.get(), TCOOFF), 0); // as Ctrl-S does
    typed("say hello\r");
    EXPECT_EQ(shownBy([&] {
                  for (int i = 0; i < 10000; ++i) {
                      talk->message("a line that nobody sees");
                  }
              }),
              "");
    ASSERT_EQ(tcflow(tty.get(), TCOON), 0);
    std::string shown;
    for (int i = 0; i < 100 && shown.find("LeftOut") == shown.npos; ++i) {
        shown += shownBy([&] { loop.advance(std::chrono::milliseconds(100)); });
    }
    EXPECT_THAT(shown, HasSubstr("said hello\r\n"));
    EXPECT_THAT(shown, testing::EndsWith("TerminalLinesLeftOut\r\n> "));
    ASSERT_EQ(tcflow(tty.get(), TCOOFF), 0);
    shownBy([&] {
        talk->message("the last line");
        talk.reset();
    });
    termios after{};
    ASSERT_EQ(tcgetattr(tty.get(), &after), 0);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(fcntl(tty.get(), F_GETFL) & O_NONBLOCK, 0);
}

} // namespace
} // namespace kvn::test
