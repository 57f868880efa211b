#include "agent/TerminalFrontEnd.h"

#include "core/system/FileDescriptor.h"
#include "tests/support/ManualMainLoop.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace kvn::test {
namespace {

/// A pipe in place of standard input.
class Terminal : public testing::Test {
protected:
    Terminal() {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
        close(ends[0]);
        input_ = Kvs::FileDescriptor(ends[1]);
    }
    ~Terminal() override { dup2(realInput_.get(), STDIN_FILENO); }

    void start() {
        frontEnd.start({{"status", [] { return "fine"; }},
                        {"quit", [this] { return ++quits, "ok"; }},
                        {"quiet", [] { return ""; }}},
                       [this] { ++inputEnds; });
    }

    /// Types the text; what the front end prints to it.
    std::string answerTo(const std::string& text) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(write(input_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
        pollfd readable{STDIN_FILENO, POLLIN, 0};
        while (poll(&readable, 1, 0) == 1 && (readable.revents & POLLIN) && loop.fireReadable(STDIN_FILENO)) {
        }
        return testing::internal::GetCapturedStdout();
    }
    std::string shown(const std::string& text, const OFRServiceInfo* details) {
        testing::internal::CaptureStdout();
        frontEnd.showStatus(text, details);
        return testing::internal::GetCapturedStdout();
    }

    FakeClock clock;
    ManualMainLoop loop{clock};
    TerminalFrontEnd frontEnd{loop};
    int quits = 0;
    int inputEnds = 0;
    Kvs::FileDescriptor input_;

private:
    Kvs::FileDescriptor realInput_{dup(STDIN_FILENO)};
};

TEST_F(Terminal, TakesOneCommandALine) {
    start();
    const std::string unknown = " (there are: quiet quit status)\n";
    const std::pair<const char*, std::string> cases[] = {
        {"status\n", "fine\n"},
        {"  status \t\r\n", "fine\n"},
        {"status\nquit\n\n \nstatus\n", "fine\nok\nfine\n"},
        {"quiet\n", ""},
        {"sta", ""},
        {"tus\nqu", "fine\n"},
        {"it\n", "ok\n"},
        {"Status\n", "error: unknown command: Status" + unknown},
        {"status now\n", "error: unknown command: status now" + unknown},
    };
    for (const auto& [typed, answer] : cases) {
        EXPECT_EQ(answerTo(typed), answer) << typed;
    }
    EXPECT_EQ(quits, 2);
}

TEST_F(Terminal, ALineWithoutEndIsDropped) {
    start();
    std::string answer;
    int pieces = 0;
    for (const std::string piece(512, 'x'); answer.empty() && pieces < 100; ++pieces) {
        answer = answerTo(piece);
    }
    EXPECT_EQ(answer, "error: line too long\n");
    EXPECT_EQ(answerTo("quit\nstatus\n"), "fine\n"); // the rest of the long line is no command
    EXPECT_EQ(quits, 0);
}

TEST_F(Terminal, TheEndOfAScriptIsNotTheEndOfTheProgram) {
    start();
    input_.reset();
    EXPECT_TRUE(loop.fireReadable(STDIN_FILENO));
    EXPECT_FALSE(loop.fireReadable(STDIN_FILENO)); // watched no more, else it would be readable for ever
    EXPECT_EQ(inputEnds, 0);
}

TEST_F(Terminal, ShowsTheStatusWhenItChanges) {
    OFRServiceInfo info;
    info.server = "relay";
    info.version = "5";
    info.proxyInfos.resize(2);
    EXPECT_EQ(shown("online", &info), "status: online | server: relay | version: 5 | proxies: 2\n");
    EXPECT_EQ(shown("online", &info), "");
    EXPECT_EQ(shown("online", nullptr), "status: online\n");
    frontEnd.forgetShownStatus();
    EXPECT_EQ(shown("online", nullptr), "status: online\n");
}

} // namespace
} // namespace kvn::test
