// SPDX-License-Identifier: MIT

#include "host/terminal/Terminal.h"
#include "tests/support/Test.h"

#include "core/system/FileDescriptor.h"
#include "host/Host.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/terminal/TerminalDialogWindow.h"
#include "host/terminal/TerminalStatusBar.h"
#include "tests/support/FakeDesktop.h"
#include "tests/support/FakePrivilegedJobs.h"
#include "tests/support/ManualMainLoop.h"

#include <sys/ioctl.h>

namespace kvn::test {
namespace {

using namespace host;

/// A pipe in place of standard input.
class TerminalTest : public testing::Test {
protected:
    TerminalTest() {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        close(ends[0]);
        input = Kvs::FileDescriptor(ends[1]);
    }
    ~TerminalTest() override { dup2(realInput_.get(), STDIN_FILENO); }

    void start() {
        terminal.start({{"quit", {"ends it", [](auto&) { return "ok"; }}},
                        {"say", {"TEXT: repeats it", [](auto& rest) { return "said " + rest; }}}},
                       [this] { ++inputEnds; });
        loop.runPending();
    }

    /// Types each text, and compares what is printed then.
    void expectAnswers(const std::vector<std::pair<std::string, std::string>>& answers) {
        for (const auto& answer : answers) {
            EXPECT_EQ(printedBy([&] { type(answer.first); }), answer.second) << answer.first;
        }
    }
    void type(const std::string& text) {
        EXPECT_EQ(write(input.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
        pollfd readable{STDIN_FILENO, POLLIN, 0};
        while (poll(&readable, 1, 0) == 1 && (readable.revents & POLLIN) && loop.fireReadable(STDIN_FILENO)) {
        }
    }
    /// Returns what the action prints, and what the tasks print that it posts.
    template <class Action>
    std::string printedBy(Action action) {
        testing::internal::CaptureStdout();
        action();
        loop.runPending();
        return testing::internal::GetCapturedStdout();
    }

    FakeClock clock;
    ManualMainLoop loop{clock};
    Terminal terminal{loop};
    TerminalStatusBar bar{terminal};
    TerminalDialogWindow dialog{terminal};
    TerminalDialogWindow permissions{terminal};
    int inputEnds = 0;
    Kvs::FileDescriptor input;

private:
    Kvs::FileDescriptor realInput_{dup(STDIN_FILENO)};
};

TEST_F(TerminalTest, TakesOneCommandALine) {
    start();
    const std::string longest = "say " + std::string(4092, 'x');
    expectAnswers({
        {"  say  a word \t\r\n", "said a word\n"},
        {"say a\nquit\n\n \nsay b\n", "said a\nok\nsaid b\n"},
        {"say \033[2J\n", "said \uFFFD[2J\n"},
        {"sa", ""},
        {"y x\nqu", "said x\n"},
        {"it\n", "ok\n"},
        {"\033c\n", "error: unknown command: \uFFFDc (try \"help\")\n"},
        {"1\n", "error: nothing is shown to choose from\n"},
        {"set 1\n", "error: set takes a number and a value\n"},
        {"close\n", "error: no dialog is open\n"},
        {"menu\n", "error: there is no menu while the status item is hidden\n"},
        {longest + "\n", "said " + std::string(4092, 'x') + "\n"},
        {longest + "x\nsay y\n", "error: line too long\nsaid y\n"},
        {std::string(20000, 'x'), "error: line too long\n"},
        {"quit\nsay y\n", "said y\n"}, // the rest of the long line is no command
    });
    input.reset();
    EXPECT_TRUE(loop.fireReadable(STDIN_FILENO));
    EXPECT_FALSE(loop.fireReadable(STDIN_FILENO)); // not watched any more, as it would stay readable
    EXPECT_EQ(inputEnds, 0);                       // the end of a script is not the end of the program
}

TEST_F(TerminalTest, UsesTheMachinesDevicesOutsideASandbox) {
    const XmlPropertyList propertyList;
    Host host;
    host.mainLoop = std::make_unique<ManualMainLoop>(clock);
    host.bundle = std::make_unique<AppBundle>("/none", propertyList, std::vector<std::string>());
    host.privilegedJobs = std::make_unique<FakePrivilegedJobs>();
    host.workspace = std::make_unique<FakeWorkspace>();
    host.hotKeys = std::make_unique<FakeHotKeys>();
    const auto ui = makeTerminalUserInterface(host);
    ui->start({}, [this] { ++inputEnds; });
    EXPECT_EQ(&ui->workspace(), host.workspace.get());
    EXPECT_EQ(&ui->hotKeys(), host.hotKeys.get());
    EXPECT_TRUE(static_cast<ManualMainLoop&>(*host.mainLoop).fireSignal(SIGHUP)); // its window was closed
    EXPECT_EQ(inputEnds, 1);
}

TEST_F(TerminalTest, PrintsTheStateOnceForEachChange) {
    using Meaning = StatusImage::Meaning;
    const Menu menu;
    const std::string printed = printedBy([&] {
        start();
        bar.updateItem({Meaning::Connected, ""}); // there is no item
        loop.runPending();
        bar.showItem(menu);
        bar.updateItem({Meaning::NotConnected, ""});
        terminal.showState("Starting", {});
        loop.runPending();
        bar.updateItem({Meaning::Controlled, ""});
        for (int i = 0; i < 2; ++i) {
            terminal.showState("Online", {{"server", "re\nlay"}, {"last error", ""}, {"proxies", "2"}});
            loop.runPending();
        }
        bar.removeItem();
        terminal.showState("Online", {});
        loop.runPending();
        terminal.repeatState();
        loop.runPending();
        bar.showItem(menu);
        loop.runPending();
        terminal.message("start: failed\033");
    });
    EXPECT_EQ(printed, "status: Starting | icon: not connected\n"
                       "status: Online | server: re lay | proxies: 2 | icon: controlled\n"
                       "status: Online | icon: hidden\n"
                       "status: Online | icon: hidden\n"
                       "status: Online | icon: blank\n"
                       "start: failed\uFFFD\n");
}

TEST_F(TerminalTest, ChoosesFromTheMenu) {
    std::string chosen;
    Menu menu;
    menu.emplace_back(MenuItem{"", [&] { chosen += "status "; }}); // its text is missing
    menu.emplace_back(MenuSeparator());
    menu.emplace_back(MenuItem{"Start", [&] { chosen += "start "; }, false});
    menu.emplace_back(MenuItem{"Hide", [&] { bar.removeItem(); }});
    start();
    bar.showItem(menu);
    loop.runPending();
    expectAnswers({{"menu\n", "== Menu ==\n 1  \n ---\n 2  Start (disabled)\n 3  Hide\n"},
                   {"1\n2\n", "ok: \nerror: Start: is disabled\n"}});
    std::get<MenuItem>(menu[2]).enabled = true;
    expectAnswers({{"2\n", "ok: Start\n"},
                   {"0\n", "error: the menu has no such number\n"},
                   {"4\n", "error: the menu has no such number\n"},
                   {"99999999999999999999\n", "error: the menu has no such number\n"},
                   {"set 1 on\n", "error: items of the menu take no value\n"},
                   {"3\n3\n", "ok: Hide\nicon: hidden\nerror: nothing is shown to choose from\n"}});
    EXPECT_EQ(chosen, "status start ");
}

TEST_F(TerminalTest, ChangesTheControlsOfADialog) {
    bool log = true;
    std::string folder;
    std::chrono::system_clock::time_point date;
    const auto setLog = [&](bool on) {
        log = on;
        dialog.update({{"text", "silent"}}); // replaces the line whose handler runs
    };
    start();
    dialog.show("Settings",
                {{"log", "", DialogCheckBox{"Log", true, log, setLog}},
                 {"share", "", DialogCheckBox{"Share", false, false, [](bool) { FAIL() << "is disabled"; }}},
                 {"folder", "Folder:", DialogFolder{true, "/", [&](const auto& path) { folder = path; }}},
                 {"from", "From", DialogDate{true, date, [&](auto time) { date = time; }}},
                 {"ask", "Beside", DialogButton{"Ask", nullptr}}},
                {});
    printedBy([] {});
    const std::string badFolder = "error: Folder: set it to the whole path of a folder that exists\n";
    expectAnswers({
        {"2\n", "error: Share: is disabled\n"},
        {"set 2 on\n", "error: Share: is disabled\n"},
        {"3\n", badFolder},
        {"set 3 tmp\n", badFolder},
        {"set 3 /no/such folder\n", badFolder},
        {"set 3 /usr/../tmp\n", "ok: Folder: /usr/../tmp\n"},
        {"set 4 tomorrow\n", "error: From: set it to a local time, YYYY-MM-DD HH:MM\n"},
        {"set 4  2026-07-23 18:30 \n", "ok: From: 2026-07-23 18:30\n"},
        {"5\n", "ok: Ask\n"},
        {"set 5 on\n", "error: this takes no value\n"},
        {"6\n", "error: the dialog has no such number\n"},
        {"set 1 maybe\n", "error: Log: set it to on or off\n"},
        {"1\n", "ok: Log: off\n== Settings ==\n  silent\n"},
    });
    EXPECT_FALSE(log);
    EXPECT_EQ(folder, "/usr/../tmp");
    EXPECT_GT(date.time_since_epoch().count(), 0);
}

TEST_F(TerminalTest, ShowsTheDialogInFront) {
    start();
    int closed = 0;
    dialog.onClose([&] { ++closed; });
    const auto button = [](const char* title) {
        return DialogLines{{"b", "", DialogButton{title, nullptr}}};
    };
    const std::string printed = printedBy([&] {
        dialog.update(button("x")); // is closed
        loop.runPending();
        permissions.show("Permissions", button("Ask"), {});
        dialog.show("Settings", button("x"), {});
        dialog.update(button("Log"));
        loop.runPending();
        dialog.update(button("Log"));
        type("1\n");
        permissions.update(button("Go"));
        type("1\nclose\n1\nclose\n1\n");
        dialog.show("Settings", button("Log"), {});
        loop.runPending();
        dialog.close();
        dialog.close();
    });
    EXPECT_EQ(printed, "== Permissions ==\n 1  <Ask>\n== Settings ==\n 1  <Log>\n"
                       "ok: Log\n== Permissions ==\n 1  <Go>\nok: Go\n"
                       "ok\n== Permissions ==\n 1  <Go>\nok: Go\n"
                       "ok\nerror: nothing is shown to choose from\n== Settings ==\n 1  <Log>\n");
    EXPECT_EQ(closed, 2);
}

TEST_F(TerminalTest, TalksToAPersonAtATerminal) {
    Kvs::FileDescriptor person(posix_openpt(O_RDWR | O_NOCTTY));
    ASSERT_TRUE(person && grantpt(person.get()) == 0 && unlockpt(person.get()) == 0);
    const Kvs::FileDescriptor tty(open(ptsname(person.get()), O_RDWR | O_NOCTTY));
    const winsize size{.ws_row = 20, .ws_col = 30, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(ioctl(tty.get(), TIOCSWINSZ, &size), 0);
    const Kvs::FileDescriptor realOutput(dup(STDOUT_FILENO));
    dup2(tty.get(), STDIN_FILENO);
    dup2(tty.get(), STDOUT_FILENO);
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
    {
        Terminal talk(loop);
        TerminalStatusBar icon(talk);
        TerminalDialogWindow window(talk);
        const Menu menu;
        icon.showItem(menu);
        icon.updateItem({StatusImage::Meaning::Connected, ""});
        talk.start({}, [this] { ++inputEnds; });
        window.show("T", {{"words", "words that go on and on and on"}}, {});
        loop.runPending();
        talk.message("note");
        loop.runPending();
        EXPECT_EQ(write(person.get(), "close\n\x04", 7), 7);
        loop.fireReadable(STDIN_FILENO);
        loop.runPending();
        loop.fireReadable(STDIN_FILENO); // at the end now
    }
    dup2(realOutput.get(), STDOUT_FILENO);
    std::string seen;
    char buffer[1024];
    for (pollfd readable{person.get(), POLLIN, 0}; poll(&readable, 1, 0) == 1;) {
        const ssize_t count = read(person.get(), buffer, sizeof buffer);
        ASSERT_GT(count, 0);
        seen.append(buffer, static_cast<std::size_t>(count));
    }
    EXPECT_EQ(inputEnds, 1);
    EXPECT_EQ(seen, "Type \"help\" for the commands.\r\n"
                    "icon: \033[32mconnected\033[0m\r\n== T ==\r\n  words that go on and on and\r\n  on\r\n"
                    "> \r\nnote\r\n> close\r\nok\r\n> ");
}

} // namespace
} // namespace kvn::test
