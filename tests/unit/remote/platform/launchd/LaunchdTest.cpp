// SPDX-License-Identifier: MIT

#include "core/system/FSysInfoPaths.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "remote/platform/launchd/LaunchdController.h"
#include "remote/platform/launchd/LoginSessionMonitor.h"
#include "remote/platform/launchd/MacRoman.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/FakeDesktop.h"
#include "tests/support/Test.h"

#include <deque>

namespace kvn::test {
namespace {

using Lines = std::vector<std::string>;
using Outcome = host::ProcessRunner::Outcome;

/// A machine whose tools give the test's answers in turn and repeat the last one; without answers, an empty
/// one. Keeps a journal of programs and sleeps, with paths relative to the root.
struct FakeMachine : host::ProcessRunner, host::ScriptRunner, host::Sleeper {
    using Answer = std::variant<Outcome, host::Error>;

    std::variant<pid_t, host::Error> launch(const std::string& path, const std::vector<std::string>&,
                                            Output) override {
        return host::Error{"test", 1, "nobody launches " + path};
    }
    Answer run(const std::string& path, const std::vector<std::string>& arguments, Limits) override {
        const std::string root = Kvs::FSysInfoPaths::underRoot("");
        const auto plain = [&](const std::string& s) {
            return s.substr(s.starts_with(root) ? root.size() : 0);
        };
        journal.push_back(plain(path));
        auto& waiting = answers.try_emplace(plain(path), 1).first->second;
        for (const std::string& argument : arguments) {
            journal.back() += " " + plain(argument);
        }
        const Answer answer = waiting.front();
        if (waiting.size() > 1) {
            waiting.pop_front();
        }
        return answer;
    }
    std::variant<std::string, host::Error> run(const std::string& source) override { return source; }
    void sleepFor(std::chrono::milliseconds time) override {
        journal.push_back(std::to_string(time.count()) + " ms");
    }

    std::map<std::string, std::deque<Answer>> answers; // by the tool's path
    std::vector<std::string> journal;
};

const std::string kList = "/bin/ps -e -o pid,uid,command";

struct LaunchdControllerTest : testing::Test {
    TemporaryRoot root;
    CapturedLog log;
    FakeSystemInfo system;
    FakeMachine machine;
    LaunchdController launchd{machine, machine, machine, system};
    std::string errorInfo;
};

TEST_F(LaunchdControllerTest, BuildsTheArgumentsOfJobs) {
    for (const char* name : {"LaunchAgents/GUIAgent", "LaunchAgents/Agent", "LaunchDaemons/Agent"}) {
        const fs::path plist = Kvs::FSysInfoPaths::underRoot("/Library/") + name + ".plist";
        fs::create_directories(plist.parent_path());
        writeFile(plist, "");
    }
    const std::tuple<std::array<int, 3>, std::string, const char*, std::string, const char*> cases[] = {
        {{10, 9, 0}, "GUIAgent", "501", "asuser 501 /bin/launchctl ", " -w -S Aqua "},
        {{10, 9, 0}, "Agent", "-2", "asuser -2 /bin/launchctl ", " -w "},
        {{10, 8, 5}, "GUIAgent", "501", "bsexec 77 chroot -u 501 / /bin/launchctl ", " -w "},
        {{10, 9, 0}, "GUIAgent", "0", "", " -w "},
    };
    for (const auto& [release, label, userId, before, after] : cases) {
        system.release = release;
        EXPECT_EQ(launchd.startAgent(label, userId, "77", errorInfo), 0);
        EXPECT_EQ(launchd.stopSystemService(label, "77", userId, errorInfo), 0);
        const std::string tail = after + ("/Library/LaunchAgents/" + label + ".plist");
        EXPECT_EQ(std::exchange(machine.journal, {}), (Lines{"/bin/launchctl " + before + "load" + tail,
                                                             "/bin/launchctl " + before + "unload" + tail}));
    }
}

TEST_F(LaunchdControllerTest, ReadsLists) {
    machine.answers["/bin/ps"] = {
        Outcome{0,
                "  PID   UID COMMAND\n   88   501 /A/loginwindow  x \n 47 \n12 0\n\n"
                "89\t502 /B/loginwindow\n90 501 cat",
                ""}};
    const auto found = launchd.findRunningProcessesMatching("loginwindow", "501");
    ASSERT_TRUE(found && found->size() == 1);
    EXPECT_EQ(found->front().description(), "pid: 88, uid: 501, command: /A/loginwindow  x");
    EXPECT_EQ(log.count("Unexpected output line of ps command: "), 3U); // a pid, a pid and a uid, nothing
    EXPECT_EQ(launchd.getLoginSessionInfo()->back().pid, "89");
    EXPECT_EQ(machine.journal, (Lines{kList, kList}));
}

TEST_F(LaunchdControllerTest, ReadsTheListOfTheRealToolWithLongLines) {
    setenv("COLUMNS", "20", 1); // makes some versions of ps cut lines
    host::PollMainLoop loop;
    host::PosixProcessRunner runner(loop);
    const LaunchdController real(runner, machine, machine, system);
    const auto found = real.findRunningProcessesMatching("_test", std::to_string(geteuid()));
    unsetenv("COLUMNS");
    ASSERT_TRUE(found);
    EXPECT_THAT(*found, testing::Contains(testing::Field(&LCProcessInfo::pid, std::to_string(getpid()))));
}

struct FakeConsoleUser : host::ConsoleUser {
    Owner current() override { return owner; }
    host::MainLoop::Handle onChange(host::MainLoop::Task task) override {
        changed = std::move(task);
        return nullptr;
    }
    Owner owner;
    host::MainLoop::Task changed;
};

TEST_F(LaunchdControllerTest, TheMonitorStartsMissingAgentsWhenTheConsoleUserChanges) {
    FakeClock clock;
    ManualMainLoop loop(clock);
    FakeConsoleUser console;
    ManualWorkQueue jobs;
    LoginSessionMonitor monitor(console, loop, jobs, launchd);
    machine.answers["/bin/ps"] = {Outcome{
        0, "1 0 loginwindow\n2 501 loginwindow\n3 502 loginwindow\n4 503 loginwindow\n9 501 KvnGUIAgent",
        ""}};
    machine.answers["/bin/launchctl"] = {Outcome{0, "", "no such session"}, Outcome()};

    monitor.systemMonitorStartedMonitoring();
    EXPECT_TRUE(log.contains("LoginSessionMonitor: current console user: (null)(0)"));
    const std::string head = "/bin/launchctl asuser ",
                      tail = " /bin/launchctl load -w -S Aqua "
                             "/Library/LaunchAgents/com.korvane.remote.KvnGUIAgent.plist";
    const Lines scan{kList, kList, head + "502" + tail, head + "503" + tail};
    const std::pair<std::optional<std::string>, Lines> changes[] = {{"alice", scan},     {"alice", {}},
                                                                    {"loginwindow", {}}, {std::nullopt, {}},
                                                                    {"bob", scan},       {"alice", scan}};
    for (const auto& [name, lines] : changes) {
        console.owner.name = name;
        console.changed();
        loop.advance(9999ms);
        EXPECT_EQ(jobs.runAll(), 0);
        loop.advance(1ms);
        EXPECT_THAT(machine.journal, IsEmpty()); // no tool runs on the main thread
        jobs.runAll();
        EXPECT_EQ(std::exchange(machine.journal, {}), lines);
    }
    EXPECT_TRUE(log.contains(
        "LoginSessionMonitor: failed to start agent for user: 502, pid: 3, error: no such session"));
}

TEST(LoginSessionMonitor, ReadsTheNameOfTheOwnerAsMacOSRoman) {
    EXPECT_EQ(LoginSessionMonitor::getProcessOwnerName(0), "root");
    EXPECT_EQ(LoginSessionMonitor::getProcessOwnerName(4294967000U), "anonymous");
    EXPECT_EQ(utf8FromMacRoman("J\x9Frg \x80\xDB\xF0\xFF~"), "J\u00FCrg \u00C4\u20AC\uF8FF\u02C7~");
}

} // namespace
} // namespace kvn::test
