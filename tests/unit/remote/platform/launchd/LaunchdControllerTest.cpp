#include "remote/platform/launchd/LaunchdController.h"
#include "host/posix/PollMainLoop.h"
#include "host/posix/PosixProcessRunner.h"
#include "tests/support/AgentEnvironment.h"
#include "tests/support/Test.h"
#include "tests/unit/remote/FakeMachine.h"

namespace kvn::test {
namespace {

using Lines = std::vector<std::string>;
using Outcome = host::ProcessRunner::Outcome;

const host::Error kMissing{"posix", ENOENT, "No such file"};
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
        const std::filesystem::path plist = Kvs::FSysInfoPaths::underRoot("/Library/") + name + ".plist";
        std::filesystem::create_directories(plist.parent_path());
        writeFile(plist, "");
    }
    using Release = std::array<int, 3>;
    const std::tuple<Release, std::string, const char*, std::string, const char*> cases[] = {
        {{10, 9, 0}, "GUIAgent", "501", "asuser 501 /bin/launchctl ", " -w -S Aqua "},
        {{10, 9, 0}, "Agent", "-2", "asuser -2 /bin/launchctl ", " -w "},
        {{10, 8, 5}, "GUIAgent", "501", "bsexec 77 chroot -u 501 / /bin/launchctl ", " -w "},
        {{10, 8, 5}, "GUIAgent", "0", "", " -w "},
        {{10, 9, 0}, "GUIAgent", "", "", " -w "},
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

TEST_F(LaunchdControllerTest, ATaskFailsIfItWritesToItsStandardError) {
    const std::tuple<FakeMachine::Answer, int, std::string> cases[] = {
        {Outcome{0, "", "already loaded\n"}, -1, "already loaded\n"},
        {Outcome{1, "on standard output", ""}, 0, ""},
        {kMissing, -1, "No such file (posix 2)"},
    };
    for (const auto& [answer, result, text] : cases) {
        machine.answers["/bin/launchctl"] = {answer};
        EXPECT_EQ(launchd.startDaemon("D", errorInfo), result);
        EXPECT_EQ(errorInfo, text);
        EXPECT_EQ(launchd.removeService("D"), result);
    }
    EXPECT_TRUE(log.contains("/bin/launchctl returned error: already loaded\n"));
    EXPECT_EQ(log.count("Failed to stop service: D, error: -1"), 2U);
    EXPECT_THAT(machine.journal, testing::Contains("/bin/launchctl remove D"));
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
    machine.answers["/usr/bin/dscl"] = {Outcome{0, "_www      70\nalice   501\n\nbob_b 502", ""}};
    EXPECT_EQ(launchd.getLocalUsers(), (Lines{"alice", "bob_b"}));
    EXPECT_EQ(machine.journal, (Lines{kList, kList, "/usr/bin/dscl . list /Users UniqueID"}));
}

TEST_F(LaunchdControllerTest, KillsAServiceWithoutAPropertyList) {
    const pid_t child = fork();
    while (child == 0) {
        pause();
    }
    const std::string pid = std::to_string(child);
    const std::pair<std::string, int> cases[] = {{"1", 3}, {"-" + pid, 3}, {"9999999999", ESRCH}, {pid, 0}};
    for (const auto& [text, result] : cases) {
        EXPECT_EQ(launchd.stopSystemService("X", text, "501", errorInfo), result) << text;
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST_F(LaunchdControllerTest, RestartsServicesAndTheComputer) {
    EXPECT_EQ(launchd.restartService("D", errorInfo), 0);
    EXPECT_TRUE(log.contains("Can't stop service for restart, error 3, details: "));
    machine.scriptResult = kMissing;
    EXPECT_FALSE(launchd.rebootSystem());
    EXPECT_EQ(machine.journal,
              (Lines{"3000 ms", "/bin/launchctl load -w /Library/LaunchDaemons/D.plist", "1500 ms",
                     "    tell application \"Finder\"\n        restart\n    end tell\n"}));
}

TEST_F(LaunchdControllerTest, StopsApplicationsWithIncreasingForce) {
    const FakeMachine::Answer none = Outcome(), one = Outcome{0, "7 1 App", ""},
                              two = Outcome{0, "7 1 App\n8 1 App", ""};
    const struct {
        std::deque<FakeMachine::Answer> lists; // the last one is repeated
        std::size_t asked, rounds;
        bool killed, result;
    } cases[] = {
        {{none}, 0, 0, false, true},
        {{two, two, none}, 2, 2, false, true},
        {{one, one, one, one, one, one, none}, 1, 5, true, true},
        {{two, one}, 2, 5, true, false},
        {{kMissing}, 0, 5, true, false}, // without a list nobody knows
    };
    for (const auto& c : cases) {
        machine.answers["/bin/ps"] = c.lists;
        EXPECT_EQ(launchd.stopAllInstancesOfApp("App"), c.result);
        Lines expected{kList};
        expected.insert(expected.end(), c.asked,
                        "    tell application \"App\"\n        quit saving no\n    end tell\n");
        for (std::size_t round = 0; round < c.rounds; ++round) {
            expected.insert(expected.end(), {"330 ms", kList});
        }
        if (c.killed) {
            expected.insert(expected.end(), {"/usr/bin/killall App", kList, "500 ms"});
        }
        EXPECT_EQ(std::exchange(machine.journal, {}), expected);
    }
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

} // namespace
} // namespace kvn::test
