// SPDX-License-Identifier: MIT

#include "host/terminal/Terminal.h"
#include "tests/support/Test.h"

#include "core/system/FileDescriptor.h"
#include "host/Host.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "host/terminal/TerminalDialogWindow.h"
#include "host/terminal/TerminalStatusBar.h"
#include "tests/support/FakeDesktop.h"
#include "tests/support/FakePrivilegedJobs.h"
#include "tests/support/ManualMainLoop.h"

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
    const PortablePropertyList propertyList;
    const AppBundle bundle{"/none", propertyList}; // returns the key of each text
    Terminal terminal{loop, bundle};
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
        {"menu\n", "error: there is no menu while the status item is hidden; \"show\" shows it\n"},
        {"dialog\n", "error: no dialog is open\n"},
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
    expectAnswers({{"menu\n", "== TerminalMenu ==\n 1  \n ---\n 2  Start (TerminalDisabled)\n 3  Hide\n"},
                   {"1\n2\n", "ok: \nerror: Start: is disabled\n"}});
    std::get<MenuItem>(menu[2]).enabled = true;
    expectAnswers({{"2\n", "ok: Start\n"},
                   {"0\n", "error: the menu has no such number\n"},
                   {"4\n", "error: the menu has no such number\n"},
                   {"99999999999999999999\n", "error: the menu has no such number\n"},
                   {"set 1 on\n", "error: items of the menu take no value\n"},
                   {"Start\n", "ok: Start\n"},
                   {"3\n3\n", "ok: Hide\nicon: hidden\nerror: nothing is shown to choose from\n"}});
    EXPECT_EQ(chosen, "status start start ");
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
    const std::string badFolder = "error: Folder: set it to the whole path of a folder\n";
    expectAnswers({
        {"2\n", "error: Share: is disabled\n"},
        {"set 2 on\n", "error: Share: is disabled\n"},
        {"3\n", badFolder},
        {"set 3 tmp\n", badFolder},
        {"set 3 /dev/null\n", badFolder},
        {"set 3 /no/such folder\n", "ok: Folder: /no/such folder\n"},
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

TEST_F(TerminalTest, KeepsNumbersAndCloseForWhatThePersonLooksAt) {
    Menu menu;
    menu.emplace_back(MenuItem{"Go", nullptr});
    const auto button = [](const char* title) {
        return DialogLines{{"b", "", DialogButton{title, nullptr}}};
    };
    const auto open = [&](TerminalDialogWindow& window, const char* title) {
        return printedBy([&] { window.show(title, button(title), {}); });
    };
    start();
    bar.showItem(menu);
    loop.runPending();
    int closed = 0;
    dialog.onClose([&] { ++closed; });
    // Without anything to look at, the dialog that comes up is in front at once.
    EXPECT_EQ(open(permissions, "Ask"), "== Ask ==\n 1  <Ask>\n");
    expectAnswers({{"1\n", "ok: Ask\n"},
                   {"close\n", "ok\n"},
                   {"1\n", "error: nothing is shown to choose from\n"},
                   {"menu\n", "== TerminalMenu ==\n 1  Go\n"}});
    EXPECT_EQ(open(permissions, "Ask"), "TerminalDialogWaits\n");
    EXPECT_EQ(printedBy([&] { permissions.update(button("Change")); }), "");
    expectAnswers(
        {{"1\n", "ok: Go\n"},
         {"close\n", "error: you have opened no dialog; \"dialog\" shows the one that has come up\n"},
         {"dialog\n", "== Ask ==\n 1  <Change>\n"},
         {"1\n", "ok: Change\n"}});
    EXPECT_EQ(open(dialog, "Settings"), "TerminalDialogWaits\n");
    expectAnswers({{"dialog\n", "== Settings ==\n 1  <Settings>\n"},
                   {"dialog\n", "== Ask ==\n 1  <Change>\n"},
                   {"dialog\n", "== Settings ==\n 1  <Settings>\n"}});
    // Another content in the same window must not take the numbers either.
    EXPECT_EQ(open(dialog, "Status"), "TerminalDialogWaits\n");
    expectAnswers({{"1\n", "error: nothing is shown to choose from\n"},
                   {"dialog\n", "== Status ==\n 1  <Status>\n"},
                   {"close\n", "ok\n== Ask ==\n 1  <Change>\n"},
                   {"close\n", "ok\n"}});
    dialog.close();
    EXPECT_EQ(closed, 1);
}

} // namespace
} // namespace kvn::test
