#include "remote/platform/launchd/LoginSessionMonitor.h"
#include "remote/platform/launchd/MacRoman.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/Test.h"
#include "tests/unit/remote/FakeMachine.h"

namespace kvn::test {
namespace {

using Outcome = host::ProcessRunner::Outcome;
using Lines = std::vector<std::string>;

struct FakeConsoleUser : host::ConsoleUser {
    Owner current() override { return owner; }
    host::MainLoop::Handle onChange(host::MainLoop::Task task) override {
        changed = std::move(task);
        return nullptr;
    }
    Owner owner;
    host::MainLoop::Task changed;
};

struct Jobs : host::WorkQueue {
    void post(Job job) override { waiting.push_back(std::move(job)); }
    std::vector<Job> waiting;
};

TEST(LoginSessionMonitor, StartsMissingAgentsWhenTheConsoleUserChanges) {
    const CapturedLog log;
    FakeClock clock;
    ManualMainLoop loop(clock);
    FakeConsoleUser console;
    Jobs jobs;
    FakeMachine machine;
    const FakeSystemInfo system;
    const LaunchdController launchd(machine, machine, machine, system);
    LoginSessionMonitor monitor(console, loop, jobs, launchd);
    machine.answers["/bin/ps"] = {Outcome{
        0, "1 0 loginwindow\n2 501 loginwindow\n3 502 loginwindow\n4 503 loginwindow\n9 501 KvnGUIAgent",
        ""}};
    machine.answers["/bin/launchctl"] = {Outcome{0, "", "no such session"}, Outcome()};

    monitor.systemMonitorStartedMonitoring();
    EXPECT_TRUE(log.contains("LoginSessionMonitor: current console user: (null)(0)"));
    const std::string ps = "/bin/ps -e -o pid,uid,command", head = "/bin/launchctl asuser ",
                      tail = " /bin/launchctl load -w -S Aqua "
                             "/Library/LaunchAgents/com.korvane.remote.KvnGUIAgent.plist";
    const Lines scan{ps, ps, head + "502" + tail, head + "503" + tail};
    const std::pair<std::optional<std::string>, Lines> changes[] = {{"alice", scan},     {"alice", {}},
                                                                    {"loginwindow", {}}, {std::nullopt, {}},
                                                                    {"bob", scan},       {"alice", scan}};
    for (const auto& [name, lines] : changes) {
        console.owner.name = name;
        console.changed();
        loop.advance(9999ms);
        EXPECT_TRUE(jobs.waiting.empty());
        loop.advance(1ms);
        EXPECT_TRUE(machine.journal.empty()); // no tool runs on the main thread
        for (const auto& job : std::exchange(jobs.waiting, {})) {
            job();
        }
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
